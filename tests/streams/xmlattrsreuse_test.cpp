// Attribute sets hand their objects on to the next set made on the same
// thread. Nothing of a set gone by may show in the next one: not a name, not
// a value, not a place in arrival order, whoever fills the new set.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tarvex/streams/charstream.h"
#include "tarvex/streams/xml/xmlinstream.h"
#include "tarvex/streams/xml/xmloutstream.h"

namespace {

std::u16string Arrival(const CXMLAttrs& attrs) {
    std::u16string text;
    for (std::int64_t i = 0; i < attrs.GetCount(); ++i) {
        const CXMLAttr* attr = attrs.GetAttr(i);
        text += std::u16string(attr->GetName().View()) + u"=" +
                std::u16string(attr->GetValue().View()) + u";";
    }
    return text;
}

TEST(XmlAttrsReuse, ANewSetStartsEmptyWhateverTheLastOneHeld) {
    for (int round = 0; round < 3; ++round) {
        {
            CXMLAttrs old;
            old.AddAttr(u"name", u"old name");
            old.AddAttr(u"value", std::u16string(200, u'x').c_str()); // too large to keep
            old.AddAttr(u"id", 7);
            old.Flush();
            old.AddAttr(std::u16string_view(u"name"), std::u16string_view(u"flushed"));
        }
        CXMLAttrs attrs;
        EXPECT_EQ(attrs.GetCount(), 0);
        EXPECT_EQ(attrs.GetAttr(u"name"), nullptr);
        EXPECT_EQ(attrs.GetAttr(u"id"), nullptr);
        attrs.AddAttr(u"id", -12);
        attrs.AddAttr(std::u16string_view(u"name"), std::u16string_view(u""));
        attrs.AddAttr(u"id", true);
        EXPECT_EQ(Arrival(attrs), u"id=1;name=;");

        CXMLOutStream out;
        CCharStream* stream = out.Create(COutStream::eEncodingUTF8);
        out.EmptyItem(u"e", &attrs);
        out.Close();
        EXPECT_EQ(
            std::string(static_cast<const char*>(stream->GetBuffer()), stream->GetByteLength()),
            "<?xml version=\"1.0\" ?><e id=\"1\" name=\"\" />");
        delete stream;
    }
}

TEST(XmlAttrsReuse, TheReaderFillsAFreshSetWithTheTagsOwnAttributesOnly) {
    const std::string text = "<?xml version=\"1.0\"?><a x=\"1\" y=\"2\"/><b y=\"3\"/><c/>";
    for (int round = 0; round < 3; ++round) {
        {
            CXMLAttrs writer;
            for (const char16_t* name : {u"y", u"x", u"z", u"w"}) writer.AddAttr(name, u"stale");
        }
        CXMLFileInStream in;
        ASSERT_EQ(in.Open(text.data(), static_cast<int>(text.size())), 1);
        CString name;
        CXMLAttrs attrs;
        ASSERT_EQ(in.ReadTag(name, attrs), CXMLInStream::eReadEmpty);
        EXPECT_EQ(Arrival(attrs), u"x=1;y=2;");
        CXMLAttrs second;
        ASSERT_EQ(in.ReadTag(name, second), CXMLInStream::eReadEmpty);
        EXPECT_EQ(Arrival(second), u"y=3;");
        CXMLAttrs third;
        ASSERT_EQ(in.ReadTag(name, third), CXMLInStream::eReadEmpty);
        EXPECT_EQ(Arrival(third), u"");
    }
}

TEST(XmlAttrsReuse, SetsMadeOnOneThreadAndDestroyedOnAnother) {
    // Each thread keeps its own objects; a set may end on another thread.
    std::vector<CXMLAttrs*> handedOver[4];
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &handedOver] {
            for (int i = 0; i < 2000; ++i) {
                auto* attrs = new CXMLAttrs;
                const std::u16string value(static_cast<std::size_t>(i % 70), u'a' + t);
                attrs->AddAttr(u"n", i);
                attrs->AddAttr(std::u16string_view(u"v"), std::u16string_view(value));
                const std::string digits = std::to_string(i);
                ASSERT_EQ(Arrival(*attrs), u"n=" + std::u16string(digits.begin(), digits.end()) +
                                               u";v=" + value + u";");
                if (i % 3 == 0)
                    handedOver[t].push_back(attrs);
                else
                    delete attrs;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    std::thread([&handedOver] {
        for (auto& list : handedOver)
            for (CXMLAttrs* attrs : list) delete attrs;
    }).join();
}

} // namespace
