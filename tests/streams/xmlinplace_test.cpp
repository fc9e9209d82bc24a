// The XML writer assembles each tag in the free room of its own memory
// stream and falls back to storage of its own when that room runs short
// part-way through a tag. Documents written by random calls, in every
// encoding, must match the rules applied text by text, wherever the room
// runs out, and the stream must be whole and terminated after every call.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tarvex/platform/codepage.h"
#include "tarvex/streams/charstream.h"
#include "tarvex/streams/xml/xmloutstream.h"

namespace {

std::u16string UpToNul(const std::u16string& text) {
    return text.substr(0, text.find(u'\0'));
}

std::u16string Escaped(const std::u16string& text, bool quotes) {
    std::u16string out;
    for (char16_t ch : text) {
        if (ch == u'&')
            out += u"&amp;";
        else if (ch == u'<')
            out += u"&lt;";
        else if (ch == u'>')
            out += u"&gt;";
        else if (ch == u'"' && quotes)
            out += u"&quot;";
        else
            out += ch;
    }
    return out;
}

// The bytes of a text in the encoding, one unit at a time.
std::string Encoded(const std::u16string& text, COutStream::EStreamEncoding encoding) {
    std::string out;
    for (char16_t ch : text) {
        if (encoding == COutStream::eEncodingUnicode) {
            out += static_cast<char>(ch & 0xFF);
            out += static_cast<char>(ch >> 8);
            continue;
        }
        char bytes[4] = {};
        const int n = WideCharToMultiByte(encoding == COutStream::eEncodingUTF8 ? CP_UTF8 : CP_ACP,
                                          0, &ch, 1, bytes, 4, nullptr, nullptr);
        out.append(bytes, n > 0 ? n : 0);
    }
    return out;
}

std::u16string RandomText(std::mt19937& rng, int length) {
    static const char16_t kUnits[] = {u'a', u'Z', u'7', u' ', u'&', u'<',  u'>',   u'"',
                                      u'Ж', u'я', u'Ё', 0x7F, 0x80, 0x7FF, 0x20AC, 0xFFFD};
    std::u16string text;
    const char16_t main = kUnits[rng() % std::size(kUnits)];
    for (int i = 0; i < length; ++i)
        text += rng() % 4 == 0 ? kUnits[rng() % std::size(kUnits)] : main;
    return text;
}

// Mostly short texts; some of hundreds of units, so that a tag fills much
// of the room before a piece of it runs short; a few past the length that
// goes straight to the stream.
int RandomLength(std::mt19937& rng) {
    const unsigned kind = rng() % 20;
    return kind == 0  ? static_cast<int>(rng() % 5000)
           : kind < 6 ? static_cast<int>(rng() % 400)
                      : static_cast<int>(rng() % 24);
}

struct Writer {
    explicit Writer(COutStream::EStreamEncoding encoding) : encoding(encoding) {}
    COutStream::EStreamEncoding encoding;
    CXMLOutStream out;
    CCharStream* stream = nullptr;
    std::string expected; // the document's bytes

    Writer& operator+=(const std::u16string& text) {
        expected += Encoded(text, encoding);
        return *this;
    }
    std::vector<std::u16string> open;

    std::u16string Attributes(const std::vector<std::pair<std::u16string, std::u16string>>& set) {
        std::u16string text;
        for (const auto& [name, value] : set)
            text += u" " + Escaped(UpToNul(name), false) + u"=\"" + Escaped(UpToNul(value), true) +
                    u"\"";
        return text;
    }

    void Check(int step) {
        const std::string& bytes = expected;
        ASSERT_EQ(
            std::string(static_cast<const char*>(stream->GetBuffer()), stream->GetByteLength()),
            bytes)
            << "step " << step;
        const char* end = static_cast<const char*>(stream->GetBuffer()) + bytes.size();
        ASSERT_EQ(end[0], 0) << "step " << step;
        if (encoding == COutStream::eEncodingUnicode) {
            ASSERT_EQ(end[1], 0) << "step " << step;
        }
    }
};

TEST(XmlInPlaceTags, RandomDocumentsMatchTheRulesWhereverTheRoomRunsOut) {
    std::mt19937 rng(3);
    const COutStream::EStreamEncoding encodings[] = {
        COutStream::eEncodingUTF8, COutStream::eEncodingAnsi, COutStream::eEncodingUnicode};
    for (int round = 0; round < 60; ++round) {
        Writer w(encodings[round % 3]);
        w.stream = w.out.Create(w.encoding);
        ASSERT_NE(w.stream, nullptr);
        w += u"<?xml version=\"1.0\" ?>";
        CXMLAttrs attrs;
        for (int step = 0; step < 400; ++step) {
            std::vector<std::pair<std::u16string, std::u16string>> set;
            attrs.Flush();
            for (int n = static_cast<int>(rng() % 9); n > 0; --n) {
                std::u16string name = u"a" + RandomText(rng, static_cast<int>(rng() % 9));
                std::u16string value = RandomText(rng, RandomLength(rng));
                if (!value.empty() && rng() % 8 == 0) value[rng() % value.size()] = 0;
                bool known = false;
                for (auto& [n2, v2] : set) {
                    if (n2 == name) {
                        v2 = value;
                        known = true;
                    }
                }
                if (!known) set.emplace_back(name, value);
                attrs.AddAttr(std::u16string_view(name), std::u16string_view(value));
            }
            const std::u16string name = RandomText(rng, 1 + static_cast<int>(rng() % 12));
            switch (rng() % 6) {
            case 0:
                w.out.BeginTable(name.c_str(), &attrs);
                w += u"<" + Escaped(name, false) + w.Attributes(set) + u">";
                w.open.push_back(name);
                break;
            case 1:
                w.out.EndTable();
                w += u"</" + (w.open.empty() ? u"" : Escaped(w.open.back(), false)) + u">";
                if (!w.open.empty()) w.open.pop_back();
                break;
            case 2:
                w.out.EmptyItem(name.c_str(), &attrs);
                w += u"<" + Escaped(name, false) + w.Attributes(set) + u" />";
                break;
            case 3: {
                const std::u16string value = RandomText(rng, RandomLength(rng));
                const int skip = static_cast<int>(rng() % 2);
                w.out.WriteParameter(name.c_str(), value.c_str(), skip, &attrs);
                if (!value.empty() || skip == 0)
                    w += u"<" + Escaped(name, false) + w.Attributes(set) + u">" +
                         Escaped(value, false) + u"</" + Escaped(name, false) + u">";
                break;
            }
            case 4: {
                // The caller's own writes between the writer's calls.
                const std::u16string text = RandomText(rng, RandomLength(rng));
                w.stream->write(text.data(), text.size());
                w += Escaped(text, false);
                break;
            }
            default: {
                const std::u16string text = RandomText(rng, RandomLength(rng));
                w.out.WriteCDATAParameter(name.c_str(), text.c_str(), static_cast<int>(text.size()),
                                          0);
                w += u"<" + Escaped(name, false) + u"><![CDATA[" + text + u"]]></" +
                     Escaped(name, false) + u">";
                break;
            }
            }
            w.Check(step);
            if (HasFatalFailure()) return;
        }
        w.out.Close();
        for (auto it = w.open.rbegin(); it != w.open.rend(); ++it)
            w += u"</" + Escaped(*it, false) + u">";
        w.Check(-1);
        delete w.stream;
        if (HasFatalFailure()) return;
    }
}

TEST(XmlInPlaceTags, ATagLargerThanTheWritersOwnStorageMovesOutOfPlaceWhole) {
    // A first tag of over a kilobyte is assembled in place, then its text
    // does not fit the room left: all of it moves to the writer's storage.
    CXMLOutStream out;
    CCharStream* stream = out.Create(COutStream::eEncodingUTF8);
    const std::u16string filler(2000, u'x');
    stream->write(filler.data(), filler.size());
    CXMLAttrs attrs;
    attrs.AddAttr(u"a", std::u16string(1100, u'w').c_str());
    out.WriteParameter(u"p", std::u16string(2000, u'v').c_str(), 1, &attrs);
    out.Close();
    EXPECT_EQ(std::string(static_cast<const char*>(stream->GetBuffer()), stream->GetByteLength()),
              "<?xml version=\"1.0\" ?>" + std::string(2000, 'x') + "<p a=\"" +
                  std::string(1100, 'w') + "\">" + std::string(2000, 'v') + "</p>");
    delete stream;
}

TEST(XmlInPlaceTags, DeepTablesCloseInnerFirstPastTheInlineNames) {
    CXMLOutStream out;
    CCharStream* stream = out.Create(COutStream::eEncodingUTF8);
    std::string closing;
    std::string opening = "<?xml version=\"1.0\" ?>";
    for (int depth = 0; depth < 300; ++depth) {
        // Lengths 0 to 9, a null name among them: each pops exactly its own.
        std::u16string name(static_cast<std::size_t>(depth % 10),
                            static_cast<char16_t>(u'a' + depth % 26));
        if (depth == 7) {
            out.BeginTable(nullptr);
            opening += "<>";
            closing = "</>" + closing;
            continue;
        }
        out.BeginTable(name.c_str());
        const std::string narrow(name.begin(), name.end());
        opening += "<" + narrow + ">";
        closing = "</" + narrow + ">" + closing;
    }
    out.Close();
    EXPECT_EQ(std::string(static_cast<const char*>(stream->GetBuffer()), stream->GetByteLength()),
              opening + closing);
    // Once closed, further calls write nothing and the stream stays the caller's.
    EXPECT_EQ(out.EndTable(), 1);
    EXPECT_EQ(stream->GetByteLength(), opening.size() + closing.size());
    delete stream;
}

} // namespace
