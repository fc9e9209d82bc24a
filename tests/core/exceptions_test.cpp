#include <gtest/gtest.h>

#include <cerrno>
#include <thread>

#include "tarvex/core/exceptions.h"
#include "tarvex/core/lock.h"
#include "tarvex/platform/errorinfo.h"

namespace {

struct Widget {
    static constexpr int kTakeLine = __LINE__ + 1;
    static void Take(const void* pResParam) { KV_CHECK_NOT_NULL(pResParam); }
    static void Range(int nUnits) { KV_CHECK(nUnits >= 0 && nUnits < 4); }
    static void Units(bool empty) { KV_CHECK_NOT(empty); }
};

template <class F>
CKVException Caught(F f) {
    try {
        f();
    } catch (const CKVException& e) {
        return e;
    }
    ADD_FAILURE() << "nothing was thrown";
    return CKVException();
}

} // namespace

TEST(CheckedExpressions, ThrowTheExactMessagesWithTheCodePosition) {
    CKVException null = Caught([] { Widget::Take(nullptr); });
    EXPECT_EQ(CString(u"Expression \"pResParam\" can''t be NULL"), null.GetMessageW());
    CString expected;
    expected.Format(u"{anonymous}::Widget::Take (Line %d)", Widget::kTakeLine);
    EXPECT_EQ(expected, null.GetCodePos());

    EXPECT_EQ(CString(u"Expression \"nUnits >= 0 && nUnits < 4\" can''t be false"),
              Caught([] { Widget::Range(7); }).GetMessageW());
    EXPECT_EQ(CString(u"Expression \"empty\" can''t be true"),
              Caught([] { Widget::Units(true); }).GetMessageW());
    EXPECT_NO_THROW(Widget::Take(&expected));
    EXPECT_NO_THROW(Widget::Range(3));
}

TEST(CheckedExpressions, CodePositionNamesTheQualifiedFunction) {
    EXPECT_EQ(CString(u"CElement::ChangeParent (Line 966)"),
              CKVException::FormatCodePos("CElement::ChangeParent", 966));
    EXPECT_EQ(CString(u"CElement::ChangeParent (Line 1)"),
              CKVException::FormatCodePos("void CElement::ChangeParent(CElement*, bool)", 1));
    EXPECT_EQ(CString(u"ns::Box<T>::Get (Line 2)"),
              CKVException::FormatCodePos("const T& ns::Box<T>::Get(int) const [with T = int]", 2));
    EXPECT_EQ(CString(u"CParam::operator< (Line 3)"),
              CKVException::FormatCodePos("bool CParam::operator<(const CParam&) const", 3));
    EXPECT_EQ(CString(u"f (Line 4)"), CKVException::FormatCodePos("std::pair<int, int> f()", 4));
}

TEST(KVException, SetMessageAndCopy) {
    CKVException e(u"first", u"here (Line 1)");
    CKVException copy = e;
    e.SetMessage(u"second");
    EXPECT_EQ(CString(u"first"), copy.GetMessageW());
    EXPECT_EQ(CString(u"second"), e.GetMessageW());
    EXPECT_EQ(CString(u"here (Line 1)"), copy.GetCodePos());
}

TEST(KVSysException, KeepsTheLastErrorOfItsConstruction) {
    errno = ENOENT;
    CKVSysException e(u"Не открыть", u"f (Line 1)");
    errno = EACCES;
    CKVSysException copy = e;
    EXPECT_EQ(ENOENT, copy.GetErrorCode());
    EXPECT_EQ(CString(u"Не открыть\nКод ошибки 0x2 (No such file or directory)"),
              copy.GetMessageW());

    errno = 0x7777;
    EXPECT_EQ(CString(u"x\nКод ошибки 0x7777"), CKVSysException(u"x", u"").GetMessageW());
}

TEST(KVComException, DescribesTheCodeBySystemTextOrErrorObject) {
    CKVComException plain(E_FAIL, u"Сбой", u"");
    EXPECT_EQ(CString(u"Сбой (Unspecified error. Error code 0x80004005.)"), plain.GetMessageW());
    EXPECT_EQ(E_FAIL, plain.GetErrorCode());

    CKVComException unknown(static_cast<HRESULT>(0x80041234), u"Сбой", u"");
    EXPECT_EQ(CString(u"Сбой (Error code 0x80041234.)"), unknown.GetMessageW());

    ICreateErrorInfo* create = nullptr;
    ASSERT_EQ(S_OK, CreateErrorInfo(&create));
    create->SetDescription(const_cast<LPOLESTR>(u"Объект занят"));
    IErrorInfo* info = nullptr;
    create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info));
    SetErrorInfo(0, info);
    info->Release();
    create->Release();
    CKVComException described(E_FAIL, u"Сбой", u"");
    EXPECT_EQ(CString(u"Сбой (Объект занят)"), described.GetMessageW());
    // The error object was taken: the next exception falls back to the code.
    EXPECT_EQ(plain.GetMessageW(), CKVComException(E_FAIL, u"Сбой", u"").GetMessageW());
}

TEST(KVLock, HoldsAndReleasesAReentrantSection) {
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    auto lockedElsewhere = [&section] {
        bool got = false;
        std::thread([&] {
            CKVLock probe(section, false);
            got = probe.TryLock();
        }).join();
        return !got;
    };
    {
        CKVLock outer(section);
        CKVLock inner(section); // the same thread may nest
        EXPECT_TRUE(inner.IsLocked());
        EXPECT_TRUE(lockedElsewhere());
    }
    EXPECT_FALSE(lockedElsewhere());
    {
        CKVLock deferred(section, false);
        EXPECT_FALSE(deferred.IsLocked());
    } // releasing what was never taken would break the section
    EXPECT_FALSE(lockedElsewhere());
    {
        CKVLock later(section, false);
        EXPECT_TRUE(later.TryLock());
        EXPECT_TRUE(later.TryLock());
        EXPECT_TRUE(lockedElsewhere());
    }
    EXPECT_FALSE(lockedElsewhere());
    DeleteCriticalSection(&section);
}
