// The binary traversal: the order of its events, and a tape that records
// them and plays them back into an equal tree.
#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "tarvex/streams/elementdocs/elementbin.h"
#include "tests/streams/elementdocs_support.h"

namespace {

using namespace elementdocs_test;

// Records every event as text and keeps what a reader needs on a tape.
class CTapeStream : public CElementBinIOStream {
public:
    std::vector<std::string> events;
    std::deque<std::vector<std::u16string>> texts;
    std::deque<std::vector<int>> numbers;
    // Failing on the n-th ReadParameter (0 never fails).
    int failParameterAt = 0;

    bool BeginReadParameters(int64_t& count, CParamsOwner&) override {
        count = Pop()[0];
        return true;
    }
    bool EndReadParameters(int64_t count) override { return Log("EndReadParameters", count); }
    CParam* ReadParameter() override {
        if (--failParameterAt == 0) return nullptr;
        std::vector<std::u16string> t = texts.front();
        texts.pop_front();
        return new CParam(t[0].c_str(), t[1].c_str(), t[2].c_str(), t[3].c_str());
    }
    bool BeginWriteParameters(int64_t count) override {
        numbers.push_back({static_cast<int>(count)});
        return Log("BeginWriteParameters", count);
    }
    bool EndWriteParameters(int64_t count) override { return Log("EndWriteParameters", count); }
    bool WriteParameter(const char16_t* name, const char16_t* value, const char16_t* caption,
                        const char16_t* comment) override {
        texts.push_back({name, value, caption, comment});
        return Log("WriteParameter " + Utf8(name));
    }
    bool BeginWriteElement(const CElement& e) override {
        return Log("BeginWriteElement " + Utf8(e.GetName()));
    }
    bool EndWriteElement(const CElement& e) override {
        return Log("EndWriteElement " + Utf8(e.GetName()));
    }
    bool WriteElementHeader(const char16_t* name, int id, int uid, const int32_t* tags,
                            int64_t tagCount, const CElement&) override {
        texts.push_back({name});
        std::vector<int> header{id, uid};
        header.insert(header.end(), tags, tags + tagCount);
        numbers.push_back(header);
        return Log("WriteElementHeader " + Utf8(name));
    }
    bool BeginWriteChildren(const CElement&, int64_t count) override {
        numbers.push_back({static_cast<int>(count)});
        return Log("BeginWriteChildren", count);
    }
    bool EndWriteChildren(const CElement&, int64_t count) override {
        return Log("EndWriteChildren", count);
    }
    bool BeginReadElement(CElement&) override { return !numbers.empty(); }
    bool ReadElementHeader(char16_t*& name, int& id, int& uid, CElementTagsArray& tags) override {
        const std::u16string& text = texts.front()[0];
        name = new char16_t[text.size() + 1];
        std::copy(text.c_str(), text.c_str() + text.size() + 1, name);
        texts.pop_front();
        std::vector<int> header = Pop();
        id = header[0];
        uid = header[1];
        for (size_t i = 2; i < header.size(); ++i) tags.Add(header[i]);
        return true;
    }
    bool EndReadChildren(int64_t count) override { return Log("EndReadChildren", count); }
    bool BeginReadChildren(int64_t& count, CElement&) override {
        count = Pop()[0];
        return true;
    }

private:
    bool Log(const std::string& what, int64_t count = -1) {
        events.push_back(count < 0 ? what : what + " " + std::to_string(count));
        return true;
    }
    std::vector<int> Pop() {
        std::vector<int> front = numbers.front();
        numbers.pop_front();
        return front;
    }
};

TEST(ElementBin, WritesEventsInNestedOrder) {
    CElement root(u"r");
    root.SetParameter(u"b", u"2");
    root.SetParameter(u"a", u"1");
    CElement* child = root.AddChild(u"c");
    child->AddChild(u"g");
    CTapeStream tape;
    ASSERT_TRUE(tape.Write(root));
    const std::vector<std::string> expected{
        "BeginWriteElement r", "WriteElementHeader r", "BeginWriteParameters 2", "WriteParameter a",
        "WriteParameter b", "EndWriteParameters 2", "BeginWriteChildren 1",
        // The child's events nest inside the parent's children pair, and
        // empty groups still come as begin and end with 0.
        "BeginWriteElement c", "WriteElementHeader c", "BeginWriteParameters 0",
        "EndWriteParameters 0", "BeginWriteChildren 1", "BeginWriteElement g",
        "WriteElementHeader g", "BeginWriteParameters 0", "EndWriteParameters 0",
        "BeginWriteChildren 0", "EndWriteChildren 0", "EndWriteElement g", "EndWriteChildren 1",
        "EndWriteElement c", "EndWriteChildren 1", "EndWriteElement r"};
    EXPECT_EQ(tape.events, expected);
}

TEST(ElementBin, TapePlaysBackIntoAnEqualTree) {
    CElement root(u"plant");
    root.SetModelUID(77);
    root.SetTag(0, 5);
    root.SetTag(1, -9);
    root.AddParameter(new CParam(u"Head", u"51", u"m", u"=parent().Length*1.2"));
    CElement* line = root.AddChild(u"line");
    line->SetParameter(u"Length", u"42.5");
    line->AddChild(u"pump")->SetTag(0, 1);
    root.AddChild(u"support");
    CTapeStream tape;
    ASSERT_TRUE(tape.Write(root));
    tape.events.clear();
    CElement copy(u"old");
    copy.AddChild(u"gone");
    ASSERT_TRUE(tape.Read(copy));
    ExpectSameTree(root, copy);
    EXPECT_EQ(tape.events.back(), "EndReadChildren 2");
    EXPECT_GE(copy.GetMaxElementIdVal(), 3);

    // A failure half-way keeps the children read so far and drops the one
    // that failed.
    CTapeStream broken;
    ASSERT_TRUE(broken.Write(root));
    broken.failParameterAt = 2;
    CElement partial;
    EXPECT_FALSE(broken.Read(partial));
    EXPECT_EQ(partial.GetChildCount(), 0);
    EXPECT_EQ(partial.GetParamsCount(), 1);
}

} // namespace
