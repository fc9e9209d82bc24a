#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tarvex/streams/zip/ziphelper.h"
#include "zip_support.h"

using namespace zip_test;

namespace {

using Bytes = TArrayTemplate<unsigned char>;

Bytes FromString(const std::string& text) {
    Bytes bytes;
    bytes.Grow(std::int64_t(text.size()));
    if (!text.empty()) std::memcpy(bytes.GetData(), text.data(), text.size());
    return bytes;
}

std::string ToString(const Bytes& bytes) {
    return std::string(reinterpret_cast<const char*>(bytes.GetData()),
                       std::size_t(bytes.GetLength()));
}

std::string ElementText(int records) {
    std::string text;
    for (int i = 0; i < records; ++i)
        text += "<Parameter name=\"Длина" + std::to_string(i) + "\" value=\"" +
                std::to_string(i * 37 % 1000) + "\" caption=\"\" comment=\"=A+1\" />";
    return text;
}

std::string RandomBytes(std::size_t size) {
    std::mt19937 random(7);
    std::string bytes(size, '\0');
    for (char& c : bytes) c = char(random());
    return bytes;
}

} // namespace

TEST(ZipRawDeflate, RoundTripsTextAndZeros) {
    for (const std::string& input :
         {ElementText(2000), std::string(1 << 20, '\0'), std::string("x")}) {
        Bytes data = FromString(input), packed, unpacked;
        ASSERT_TRUE(CKVZipHelper::MakeRawDeflate(data, packed, true));
        ASSERT_TRUE(CKVZipHelper::ExtractRawDeflate(packed, unpacked));
        EXPECT_EQ(ToString(unpacked), input);
    }
}

TEST(ZipRawDeflate, GrowthRefusedGivesFalseAndEmptyOutput) {
    Bytes data = FromString(RandomBytes(1 << 20)), out = FromString("stale");
    EXPECT_FALSE(CKVZipHelper::MakeRawDeflate(data, out, false));
    EXPECT_TRUE(out.IsEmpty());
    // The same data is packed when growth is allowed, and a tiny input that
    // only grows fits too.
    ASSERT_TRUE(CKVZipHelper::MakeRawDeflate(data, out, true));
    EXPECT_GT(out.GetLength(), data.GetLength());
    Bytes back;
    ASSERT_TRUE(CKVZipHelper::ExtractRawDeflate(out, back));
    EXPECT_TRUE(back == data);
    Bytes one = FromString("a");
    EXPECT_FALSE(CKVZipHelper::MakeRawDeflate(one, out, false));
    EXPECT_TRUE(CKVZipHelper::MakeRawDeflate(one, out, true));
}

TEST(ZipRawDeflate, EmptyInputAnswersAtOnceBothWays) {
    Bytes empty, out = FromString("stale");
    EXPECT_TRUE(CKVZipHelper::MakeRawDeflate(empty, out, false));
    EXPECT_TRUE(out.IsEmpty());
    out = FromString("stale");
    EXPECT_TRUE(CKVZipHelper::ExtractRawDeflate(nullptr, 0, out));
    EXPECT_TRUE(out.IsEmpty());
}

TEST(ZipRawDeflate, TruncatedStreamGivesAPrefixAndGarbageFails) {
    const std::string input = ElementText(5000);
    Bytes data = FromString(input), packed, out;
    ASSERT_TRUE(CKVZipHelper::MakeRawDeflate(data, packed, true));
    ASSERT_TRUE(
        CKVZipHelper::ExtractRawDeflate(packed.GetData(), unsigned(packed.GetLength() / 2), out));
    EXPECT_GT(out.GetLength(), 0);
    EXPECT_LT(out.GetLength(), std::int64_t(input.size()));
    EXPECT_EQ(ToString(out), input.substr(0, std::size_t(out.GetLength())));

    Bytes garbage = FromString(std::string("\xff\xff\xff\xff garbage", 12));
    EXPECT_FALSE(CKVZipHelper::ExtractRawDeflate(garbage, out));
}

TEST(ZipRawDeflate, ThousandfoldExpansionKeepsGrowing) {
    const std::string input(8 << 20, 'z');
    Bytes data = FromString(input), packed, out;
    ASSERT_TRUE(CKVZipHelper::MakeRawDeflate(data, packed, false));
    ASSERT_LT(packed.GetLength() * 500, data.GetLength());
    ASSERT_TRUE(CKVZipHelper::ExtractRawDeflate(packed, out));
    EXPECT_TRUE(out == data);
}

TEST(ZipRawDeflate, InteroperatesWithPythonZlib) {
    ScratchDir dir;
    const std::string input = ElementText(300);
    Bytes data = FromString(input), packed;
    ASSERT_TRUE(CKVZipHelper::MakeRawDeflate(data, packed, true));
    WriteBytes(dir / "ours.raw", ToString(packed));
    WriteBytes(dir / "plain", input);

    const std::string script = "import sys, zlib\n"
                               "d = sys.argv[1]\n"
                               "assert zlib.decompress(open(d + '/ours.raw', 'rb').read(), -15) == "
                               "open(d + '/plain', 'rb').read()\n"
                               "c = zlib.compressobj(9, zlib.DEFLATED, -15)\n"
                               "open(d + '/theirs.raw', 'wb').write(c.compress(open(d + '/plain', "
                               "'rb').read()) + c.flush())\n";
    WriteBytes(dir / "check.py", script);
    std::string output;
    ASSERT_EQ(Shell("python3 " + (dir / "check.py") + " " + dir.path, &output), 0) << output;

    Bytes theirs = FromString(ReadBytes(dir / "theirs.raw")), back;
    ASSERT_TRUE(CKVZipHelper::ExtractRawDeflate(theirs, back));
    EXPECT_EQ(ToString(back), input);
}
