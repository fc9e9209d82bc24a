#include "tarvex/forms/libfilestate.h"

#include <utility>

#include "tarvex/forms/formpaths_internal.h"
#include "tarvex/formula/function.h"
#include "tarvex/streams/xml/xmloutstream.h"

namespace {

constexpr char16_t kForbidden[] = u"\\*?/\"|:><";

const CXMLSchema& StatusSchema() {
    static const CXMLSchema::tagXMLTypedef table[] = {
        {u"FileState", 0},
        {u"FileNameBase", 1},
        {u"FileNameFull", 1},
        {u"FileNameCustom", 1},
    };
    static const CXMLSchema schema(table, int(std::size(table)));
    return schema;
}

bool HasForbidden(const CString& text) {
    return text.FindOneOf(kForbidden) >= 0;
}

} // namespace

// ------------------------------------------------------ CLibProjectFileState --

int CLibProjectFileState::Save(const char16_t* path) {
    const CString source(path);
    name = source.Mid(FormFiles::LastSeparator(source) + 1);
    CString target = source + u".status";
    try {
        CXMLOutStream stream;
        if (!stream.Create(target)) return 0;
        CXMLAttrs attrs;
        attrs.AddAttr(u"name", name.GetString());
        attrs.AddAttr(u"status", status.GetString());
        stream.BeginTable(u"FileState", &attrs);
        WriteParam(stream, fileNameBase, u"FileNameBase");
        WriteParam(stream, fileNameFull, u"FileNameFull");
        WriteParam(stream, fileNameCustom, u"FileNameCustom");
        return stream.Close();
    } catch (...) {
        return 0;
    }
}

void CLibProjectFileState::WriteParam(CXMLOutStream& stream, const CParam& param,
                                      const char16_t* tag) {
    // All four always: a reader takes an attribute that is present even when
    // it is empty, so an absent one would keep a stale text.
    CXMLAttrs attrs;
    attrs.AddAttr(u"name", param.getName().GetString());
    attrs.AddAttr(u"value", param.getstrValue().GetString());
    attrs.AddAttr(u"comment", param.getComment().GetString());
    attrs.AddAttr(u"valueComment", param.getValueComment().GetString());
    stream.EmptyItem(tag, &attrs);
}

int CLibProjectFileState::LoadBySrcName(const char16_t* path) {
    if (path == nullptr || *path == 0) return 0;
    return LoadFile(CString(path) + u".status");
}

int CLibProjectFileState::LoadFile(const char16_t* path) {
    CXMLSchemaInStream stream(StatusSchema());
    CXMLAttrs attrs;
    // The open checks the root, so a foreign document changes nothing.
    if (!stream.Open(path, attrs)) return 0;
    attrs.GetAttr(u"status", status);
    attrs.GetAttr(u"name", name);
    return LoadFromXMLStream(stream) ? 1 : 0;
}

int CLibProjectFileState::LoadParameter(CParam& param, CXMLAttrs& attrs) {
    CString name = param.getName();
    CString value = param.getstrValue();
    CString comment = param.getComment();
    CString valueComment = param.getValueComment();
    attrs.GetAttr(u"name", name);
    attrs.GetAttr(u"value", value);
    attrs.GetAttr(u"comment", comment);
    attrs.GetAttr(u"valueComment", valueComment);
    param = CParam(name, value, comment, valueComment);
    return 1;
}

int CLibProjectFileState::OnXMLTag(CXMLSchemaInStream&, int id, const char16_t*, const char16_t*,
                                   CXMLAttrs& attrs) {
    switch (id) {
    case eFileNameBase:
        return LoadParameter(fileNameBase, attrs);
    case eFileNameFull:
        return LoadParameter(fileNameFull, attrs);
    case eFileNameCustom:
        return LoadParameter(fileNameCustom, attrs);
    default:
        return 0;
    }
}

// --------------------------------------------------------------- CLibFileInfo --

CLibFileInfo::CLibFileInfo(std::int32_t number, const char16_t* name, const char16_t* text1,
                           const char16_t* text2, const char16_t* fileName,
                           const tagTIMESTAMP_STRUCT& stamp, std::int32_t number2)
    : number(number), number2(number2), name(name), text1(text1), text2(text2), fileName(fileName),
      stamp(stamp) {
    MakeCheckOutName();
}

bool CLibFileInfo::IsValidFileName(const char16_t* name, int limit) {
    const CString text(name);
    return text.GetLength() < limit && !HasForbidden(text);
}

void CLibFileInfo::MakeCheckOutName() {
    CString full = name + u"_" + fileName;
    bool cut = true;
    const int excess = full.GetLength() - kCheckOutLimit;
    if (excess > 0) {
        const int dot = full.ReverseFind(u'.');
        if (dot < 0)
            full = full.Left(kCheckOutLimit);
        else if (excess <= dot)
            full.Delete(dot - excess, excess); // the extension stays
        else
            cut = false; // too little before the extension to take from
    }
    if (cut && IsValidFileName(full, kCheckOutLimit + 1)) {
        checkOutName = full;
        return;
    }
    CString extension;
    const int dot = fileName.ReverseFind(u'.');
    if (dot >= 0) extension = fileName.Mid(dot + 1);
    if (extension.GetLength() >= 100 || HasForbidden(extension)) extension.Empty();
    checkOutName = name;
    if (!extension.IsEmpty()) {
        checkOutName += u'.';
        checkOutName += extension;
    }
}

CString CLibFileInfo::GetCheckOutPath(const char16_t* folder) const {
    CString safe(checkOutName);
    for (int i = 0; i < safe.GetLength(); ++i) {
        const char16_t ch = safe[i];
        if (ch < 32 || (ch != 0 && std::char_traits<char16_t>::find(kForbidden, 9, ch) != nullptr))
            safe.SetAt(i, u'_');
    }
    CString path;
    path.Format(u"%s/%s", folder != nullptr ? folder : u"", safe.GetString());
    return path;
}

// --------------------------------------------------------------- CDBVarRecord --

bool CDBVarRecord::IsEqual(const CDBVarRecord& other) const {
    const int64_t count = GetLength();
    if (count != other.GetLength()) return false;
    for (int64_t i = 0; i < count; ++i) {
        const COleVariant* mine = (*this)[i];
        const COleVariant* theirs = other[i];
        if (mine == nullptr || theirs == nullptr) {
            if (mine != theirs) return false;
            continue;
        }
        // The comparison reads objects through their values and may change
        // the variants it is given, so it works on copies.
        COleVariant a(*mine);
        COleVariant b(*theirs);
        try {
            if (CFunction::Compare(a, b) != 0) return false;
        } catch (...) {
            return false;
        }
    }
    return true;
}
