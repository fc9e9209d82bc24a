// Byte buffer, base64 and SHA-256, checked against published values and
// against the coreutils tools as independent oracles.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "tarvex/core/exceptions.h"
#include "tarvex/streams/base64.h"
#include "tarvex/streams/bytebuffer.h"
#include "tarvex/streams/sha256.h"

namespace {

std::string RunTool(const std::string& command) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return output;
    char chunk[4096];
    for (size_t n; (n = fread(chunk, 1, sizeof chunk, pipe)) > 0;) output.append(chunk, n);
    pclose(pipe);
    return output;
}

std::string WriteTemp(const std::string& bytes) {
    std::string path =
        (std::filesystem::temp_directory_path() / ("tarvex_digest_" + std::to_string(getpid())))
            .string();
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

std::string RandomBytes(size_t size, unsigned salt) {
    std::mt19937 rng(12345 + salt);
    std::string bytes(size, '\0');
    for (auto& b : bytes) b = static_cast<char>(rng());
    return bytes;
}

std::string ChromiumEncode(const std::string& data) {
    std::string out(CFastBase64::chromium_base64_encode_length(data.size()), '\x7f');
    size_t n = CFastBase64::chromium_base64_encode(out.data(), data.data(), data.size());
    EXPECT_EQ(out[n], '\0');
    out.resize(n);
    return out;
}

// Decoded bytes, or "<error>".
std::string ChromiumDecode(const std::string& text) {
    std::string out(CFastBase64::chromium_base64_decode_length(text.size()), '\0');
    size_t n = CFastBase64::chromium_base64_decode(out.data(), text.data(), text.size());
    if (n == CFastBase64::Error) return "<error>";
    out.resize(n);
    return out;
}

bool HasAvx2() {
#if defined(__x86_64__)
    return __builtin_cpu_supports("avx2");
#else
    return false;
#endif
}

// ------------------------------------------------------------ byte buffer --

TEST(ByteBuffer, AppendsCopiesAndMoves) {
    CTXByteBuffer buffer;
    EXPECT_EQ(buffer.Write("abc", 3), 3u);
    EXPECT_EQ(buffer.Write(nullptr, 5), 3u);
    EXPECT_EQ(buffer.Write("x", 0), 3u);
    EXPECT_EQ(buffer.Write(std::string("defg")), 7u);
    ASSERT_EQ(buffer.GetLength(), 7u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(buffer.AsVector()), 7), "abcdefg");

    CTXByteBuffer copy(buffer);
    copy.AsVector()[0] = 'z';
    EXPECT_EQ(buffer.AsVector()[0], 'a'); // the copy owns its own bytes

    CTXByteBuffer moved(std::move(copy));
    EXPECT_EQ(copy.GetLength(), 0u);
    EXPECT_EQ(copy.AsVector(), nullptr);
    EXPECT_EQ(moved.AsVector()[0], 'z');

    moved = buffer;
    EXPECT_EQ(moved.GetLength(), 7u);
    EXPECT_EQ(moved.AsVector()[0], 'a');

    buffer.Reset(16);
    EXPECT_EQ(buffer.GetLength(), 16u);
    buffer.Reset();
    EXPECT_EQ(buffer.GetLength(), 0u);
    EXPECT_EQ(buffer.AsVector(), nullptr);
}

TEST(ByteBuffer, LengthOverflowThrowsTheAllocationMessage) {
    CTXByteBuffer buffer;
    buffer.Write("ab", 2);
    try {
        char byte = 0;
        // Claims a length that cannot fit beside the two bytes: refused
        // before any memory is touched.
        buffer.Write(&byte, UINT32_MAX - 1);
        FAIL() << "no exception";
    } catch (const CKVException& e) {
        EXPECT_EQ(e.GetMessageW(), CString(u"Ошибка размещения буфера"));
    }
    EXPECT_EQ(buffer.GetLength(), 2u);
}

// ---------------------------------------------------------------- CBase64 --

TEST(Base64Wide, EncodesWithPaddingAndLengths) {
    const unsigned char man[] = {0x4D, 0x61, 0x6E};
    CString out(u"untouched");
    EXPECT_EQ(CBase64::Encode(man, 0, out, u"+/="), 0u);
    EXPECT_EQ(out, CString(u"untouched"));
    EXPECT_EQ(CBase64::Encode(man, 1, out, u"+/="), 4u);
    EXPECT_EQ(out, CString(u"TQ=="));
    EXPECT_EQ(CBase64::Encode(man, 2, out, u"+/="), 4u);
    EXPECT_EQ(out, CString(u"TWE="));
    EXPECT_EQ(CBase64::Encode(man, 3, out, u"+/="), 4u);
    EXPECT_EQ(out, CString(u"TWFu"));
    // The padding character is always the call's own.
    CBase64::Encode(man, 1, out, u"+/*");
    EXPECT_EQ(out, CString(u"TQ**"));

    for (uint64_t n = 0; n < 40; ++n) {
        EXPECT_EQ(CBase64::GetCodeLength(n), (n + 2) / 3 * 4) << n;
    }
    EXPECT_EQ(CBase64::GetDataLength(8), 6u);
    EXPECT_EQ(CBase64::GetDataLength(7), 6u);
}

TEST(Base64Wide, DecodeTakesAllThreeCharactersFromTheCall) {
    unsigned char out[16] = {};
    EXPECT_EQ(CBase64::Decode(u"TWFu", 4, out, u"+/="), 3u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 3), "Man");
    EXPECT_EQ(CBase64::Decode(u"TWE=", 4, out, u"+/="), 2u);
    EXPECT_EQ(CBase64::Decode(u"TQ==", 4, out, u"+/="), 1u);
    EXPECT_EQ(out[0], 0x4D);
    // Padding ends the decoding: what follows is not read.
    EXPECT_EQ(CBase64::Decode(u"TQ==TWFu", 8, out, u"+/="), 1u);
    // Codes 62 and 63 and a padding of the call's choosing.
    EXPECT_EQ(CBase64::Decode(u"-_8*", 4, out, u"-_*"), 2u);
    EXPECT_EQ(out[0], 0xFB);
    EXPECT_EQ(out[1], 0xFF);
    // A unit outside the alphabet counts as 0 and is not an error.
    EXPECT_EQ(CBase64::Decode(u"T!!!", 4, out, u"+/="), 3u);
    EXPECT_EQ(out[0], 0x4C);
    EXPECT_EQ(out[1], 0);
    EXPECT_EQ(out[2], 0);
}

TEST(Base64Wide, RoundTripsEveryRemainder) {
    for (size_t n = 1; n < 70; ++n) {
        std::string data = RandomBytes(n, unsigned(n));
        CString code;
        CBase64::Encode(reinterpret_cast<const unsigned char*>(data.data()), n, code, u"+/=");
        std::vector<unsigned char> back(CBase64::GetDataLength(code.GetLength()));
        uint64_t got = CBase64::Decode(code, code.GetLength(), back.data(), u"+/=");
        ASSERT_EQ(got, n);
        EXPECT_EQ(std::string(back.begin(), back.begin() + n), data);
    }
}

// Exits 0 when a first call with "-_=" fixes the codes that a later call
// with "+/*" still gets, with the later call's padding.
[[noreturn]] void EncodeWithTwoAlphabets() {
    const unsigned char bytes[] = {0xFB, 0xFF};
    CString first;
    CString second;
    CBase64::Encode(bytes, 2, first, u"-_=");
    CBase64::Encode(bytes, 2, second, u"+/*");
    std::exit(first == CString(u"-_8=") && second == CString(u"-_8*") ? 0 : 1);
}

TEST(Base64WideDeathTest, FirstCallFixesTheCodesOf62And63) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // Runs in a fresh process, where no Encode has happened yet.
    EXPECT_EXIT(EncodeWithTwoAlphabets(), ::testing::ExitedWithCode(0), "");
}

// ------------------------------------------------------------ CFastBase64 --

TEST(Base64Fast, EncodesAndTerminates) {
    EXPECT_EQ(ChromiumEncode(""), "");
    EXPECT_EQ(ChromiumEncode("M"), "TQ==");
    EXPECT_EQ(ChromiumEncode("Ma"), "TWE=");
    EXPECT_EQ(ChromiumEncode("Man"), "TWFu");
    EXPECT_EQ(ChromiumEncode("\xfb\xff"), "+/8=");
    EXPECT_EQ(CFastBase64::chromium_base64_encode_length(0), 1u);
    EXPECT_EQ(CFastBase64::chromium_base64_encode_length(4), 9u);
    EXPECT_EQ(CFastBase64::chromium_base64_decode_length(8), 8u);
}

TEST(Base64Fast, DecodeRefusesBadLengthsAndCharacters) {
    EXPECT_EQ(ChromiumDecode(""), "");
    EXPECT_EQ(ChromiumDecode("abc"), "<error>");
    EXPECT_EQ(ChromiumDecode("abcde"), "<error>");
    EXPECT_EQ(ChromiumDecode("ab=="), "i");
    EXPECT_EQ(ChromiumDecode("TWE="), "Ma");
    EXPECT_EQ(ChromiumDecode("a=bc"), "<error>");
    EXPECT_EQ(ChromiumDecode("a==="), "<error>");
    EXPECT_EQ(ChromiumDecode("===="), "<error>");
    EXPECT_EQ(ChromiumDecode("TW-u"), "<error>");
    EXPECT_EQ(ChromiumDecode("+/8="), "\xfb\xff");
    // Bytes of the groups before the bad one stay written.
    char out[16] = {};
    EXPECT_EQ(CFastBase64::chromium_base64_decode(out, "TWFuT!!=", 8), CFastBase64::Error);
    EXPECT_EQ(std::string(out, 3), "Man");
}

TEST(Base64Fast, MatchesCoreutilsBase64) {
    std::string data = RandomBytes(3000, 7);
    std::string path = WriteTemp(data);
    std::string expected = RunTool("base64 -w0 " + path);
    std::filesystem::remove(path);
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(ChromiumEncode(data), expected);
    EXPECT_EQ(ChromiumDecode(expected), data);
    CString wide;
    CBase64::Encode(reinterpret_cast<const unsigned char*>(data.data()), data.size(), wide, u"+/=");
    EXPECT_EQ(wide, CString(std::u16string(expected.begin(), expected.end())));
}

TEST(Base64Fast, Avx2FormsAgreeWithScalarForms) {
    if (!HasAvx2()) GTEST_SKIP() << "no AVX2 on this processor";
    for (size_t n : {0, 1, 2, 27, 28, 29, 31, 32, 33, 51, 52, 55, 56, 57, 100, 1000, 4099}) {
        std::string data = RandomBytes(n, unsigned(n));
        std::string expected = ChromiumEncode(data);
        // Exactly sized buffers, so an overrun shows under AddressSanitizer.
        std::vector<char> code(CFastBase64::chromium_base64_encode_length(n));
        ASSERT_EQ(CFastBase64::fast_avx2_base64_encode(code.data(), data.data(), n),
                  expected.size());
        EXPECT_EQ(std::string(code.data()), expected) << n;

        std::vector<char> back(CFastBase64::chromium_base64_decode_length(expected.size()));
        ASSERT_EQ(
            CFastBase64::fast_avx2_base64_decode(back.data(), expected.data(), expected.size()), n);
        EXPECT_EQ(std::string(back.data(), n), data) << n;
    }
    // A bad character anywhere in a long text: the vector loop must hand it
    // to the scalar form, which reports it.
    std::string text = ChromiumEncode(RandomBytes(300, 3));
    for (size_t at : {size_t(0), size_t(31), size_t(40), text.size() - 5}) {
        std::string bad = text;
        bad[at] = '.';
        std::vector<char> back(CFastBase64::chromium_base64_decode_length(bad.size()));
        EXPECT_EQ(CFastBase64::fast_avx2_base64_decode(back.data(), bad.data(), bad.size()),
                  CFastBase64::Error)
            << at;
    }
}

// ---------------------------------------------------------------- SHA-256 --

TEST(Sha256, PublishedVectors) {
    SHA256 sha;
    EXPECT_EQ(sha(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sha("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(sha("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    std::string million(1000000, 'a');
    EXPECT_EQ(sha(million), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Sha256, IncrementalEqualsOneShotAndGetHashKeepsState) {
    std::string data = RandomBytes(1000, 1);
    SHA256 whole;
    std::string expected = whole(data);
    for (size_t step : {1, 3, 63, 64, 65, 200}) {
        SHA256 sha;
        for (size_t at = 0; at < data.size(); at += step)
            sha.add(data.data() + at, std::min(step, data.size() - at));
        EXPECT_EQ(sha.getHash(), expected) << step;
        EXPECT_EQ(sha.getHash(), expected) << step;
    }
    SHA256 sha;
    sha.add("a", 1);
    EXPECT_EQ(sha.getHash(), SHA256()("a"));
    sha.add("bc", 2); // reading the digest did not end the message
    EXPECT_EQ(sha.getHash(), SHA256()("abc"));
    unsigned char raw[32];
    sha.getHash(raw);
    EXPECT_EQ(raw[0], 0xba);
    EXPECT_EQ(raw[31], 0xad);
    sha.reset();
    EXPECT_EQ(sha.getHash(), SHA256()(""));
}

TEST(Sha256, MatchesSha256sumAroundBlockEdges) {
    for (size_t n : {55, 56, 63, 64, 119, 120, 128, 1000}) {
        std::string data = RandomBytes(n, unsigned(n));
        std::string path = WriteTemp(data);
        std::string expected = RunTool("sha256sum " + path).substr(0, 64);
        std::filesystem::remove(path);
        EXPECT_EQ(SHA256()(data), expected) << n;
    }
}

} // namespace
