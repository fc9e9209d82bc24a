#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tarvex/core/exceptions.h"
#include "tarvex/database/odbcdump.h"
#include "tarvex/database/odbcexception.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/streams/zip/ziphelper.h"

namespace fs = std::filesystem;

namespace {

class Dump : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "tarvex_dump_XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        folder = pattern;
    }
    void TearDown() override { fs::remove_all(folder); }

    CString Path(const char* name) const { return tarvex::FromUtf8(folder + "/" + name); }
    std::string Native(const char* name) const { return folder + "/" + name; }

    std::string Bytes(const char* name) const {
        std::ifstream in(Native(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    void Put(const char* name, const std::string& bytes) const {
        std::ofstream(Native(name), std::ios::binary) << bytes;
    }

    // Inflates the packed dump `packed` into the file `plain`.
    void Unpack(const char* packed, const char* plain) const {
        std::string bytes = Bytes(packed);
        TArrayTemplate<unsigned char> out;
        ASSERT_TRUE(CKVZipHelper::ExtractRawDeflate(bytes.data(), unsigned(bytes.size()), out));
        Put(plain, std::string(reinterpret_cast<const char*>(out.GetData()),
                               std::size_t(out.GetLength())));
    }

    std::string folder;
};

template <class Call>
CString FailureOf(Call call) {
    try {
        call();
    } catch (const CKVException& e) {
        return e.GetMessageW();
    }
    return u"(no exception)";
}

const _GUID kGuid = {0x12345678, 0x9abc, 0xdef0, {1, 2, 3, 4, 5, 6, 7, 8}};
const tagTIMESTAMP_STRUCT kStamp = {2024, 2, 29, 23, 59, 58, 123456789};
const char16_t kText[] = u"Насос №1";

// One record of every form, with and without NULL.
void WriteRecord(CODBCDumpWriter& writer, int i) {
    writer.FieldIO(1, 2.5 * i, 0);
    writer.FieldIO(2, 0.0, -1);
    writer.FieldIO(3, i, 8);
    writer.FieldIO(4, kGuid, 16);
    writer.FieldIO(5, kStamp, 0);
    writer.FieldIO(6, kStamp, -1);
    writer.FieldIO(7, kText, -3, 0);
    writer.FieldIO(8, kText, 5, 0); // the indicator is the count
    writer.FieldIO(9, u"", -3, 0);
    writer.FieldIO(10, kText, -1, 0);
    _tagOdbcBlobField blob;
    unsigned char bytes[3] = {0, 0xff, std::uint8_t(i)};
    blob.data = bytes;
    blob.length = 3;
    blob.indicator = -103;
    writer.FieldIO(11, blob);
    _tagOdbcBlobField empty;
    empty.indicator = 0;
    writer.FieldIO(12, empty);
    _tagOdbcBlobField none;
    none.indicator = -1;
    writer.FieldIO(13, none);
    _tagOdbcTextField text;
    text.SetString(u"Длина");
    writer.FieldIO(14, text);
}

void ReadRecord(CODBCDumpReader& reader, int i, CIndirectArray<CTXByteBuffer>& buffers) {
    double d = 7;
    int n = 0;
    _GUID guid{};
    tagTIMESTAMP_STRUCT stamp{};
    char16_t text[32];
    std::int64_t ind = 99;
    reader.FieldIO(1, d, ind);
    EXPECT_EQ(d, 2.5 * i);
    EXPECT_EQ(ind, 0);
    d = 7;
    reader.FieldIO(2, d, ind);
    EXPECT_EQ(ind, -1);
    EXPECT_EQ(d, 7); // a NULL leaves the value alone
    reader.FieldIO(3, n, ind);
    EXPECT_EQ(n, i);
    reader.FieldIO(4, guid, ind);
    EXPECT_EQ(std::memcmp(&guid, &kGuid, 16), 0);
    reader.FieldIO(5, stamp, ind);
    EXPECT_EQ(stamp.year, 2024);
    EXPECT_EQ(stamp.second, 58);
    EXPECT_EQ(stamp.fraction, 0u); // kept on disk, dropped on reading
    reader.FieldIO(6, stamp, ind);
    EXPECT_EQ(ind, -1);
    reader.FieldIO(7, text, ind, 32);
    EXPECT_EQ(CString(text), CString(kText));
    EXPECT_EQ(ind, -3);
    reader.FieldIO(8, text, ind, 32);
    EXPECT_EQ(CString(text), CString(u"Насос"));
    reader.FieldIO(9, text, ind, 32);
    EXPECT_EQ(CString(text), CString(u""));
    EXPECT_EQ(ind, 0);
    reader.FieldIO(10, text, ind, 32);
    EXPECT_EQ(ind, -1);
    _tagOdbcBlobField blob;
    reader.FieldIO(11, blob);
    ASSERT_EQ(blob.length, 3);
    EXPECT_EQ(blob.indicator, -103);
    EXPECT_EQ(static_cast<unsigned char*>(blob.data)[2], std::uint8_t(i));
    EXPECT_EQ(blob.data, buffers.Last()->AsVector());
    reader.FieldIO(12, blob);
    EXPECT_EQ(blob.data, nullptr);
    EXPECT_EQ(blob.indicator, -100);
    reader.FieldIO(13, blob);
    EXPECT_EQ(blob.indicator, -1);
    _tagOdbcTextField field;
    reader.FieldIO(14, field);
    EXPECT_EQ(CString(static_cast<const char16_t*>(field.data)), CString(u"Длина"));
    EXPECT_EQ(field.indicator, -100 - 12);
}

} // namespace

TEST_F(Dump, EveryFormRoundTripsThroughThePackedFile) {
    {
        CODBCDumpWriter writer;
        writer.Open(Path("t.dump"));
        writer.WriteHeader(3, 0);
        for (int i = 0; i < 1000; ++i) WriteRecord(writer, i);
        const std::uint64_t size = writer.GetFileSize();
        writer.RewriteHeader(4, 1001);
        EXPECT_EQ(writer.GetFileSize(), size);
        WriteRecord(writer, 1000); // after the rewrite, writing goes on at the end
        EXPECT_TRUE(fs::exists(Native("t.dump.tmp")));
        writer.Close();
    }
    EXPECT_FALSE(fs::exists(Native("t.dump.tmp")));
    Unpack("t.dump", "t.plain");

    CIndirectArray<CTXByteBuffer> buffers;
    CODBCDumpReader reader(&buffers);
    reader.Open(Path("t.plain"));
    short version = 0;
    std::uint64_t count = 0;
    reader.ReadHeader(version, count);
    EXPECT_EQ(version, 4);
    EXPECT_EQ(count, 1001u);
    for (int i = 0; i <= 1000; ++i) ReadRecord(reader, i, buffers);
    EXPECT_EQ(buffers.GetLength(), 1001);
    unsigned char extra;
    EXPECT_EQ(FailureOf([&] { reader.Read(&extra, 1); }), CString(u"Неверный формат файла"));
}

TEST_F(Dump, ValueFormsHaveTheirExactSizes) {
    CODBCDumpWriter writer;
    writer.Open(Path("s.dump"));
    writer.WriteHeader(1, 0);
    EXPECT_EQ(writer.GetFileSize(), 10u);
    writer.FieldIO(1, 1.0, -1);
    EXPECT_EQ(writer.GetFileSize(), 11u);
    writer.FieldIO(1, 1.0, 0);
    EXPECT_EQ(writer.GetFileSize(), 20u);
    writer.FieldIO(1, static_cast<const char16_t*>(nullptr), 5, 0);
    EXPECT_EQ(writer.GetFileSize(), 24u);
    writer.FieldIO(1, kStamp, 0);
    EXPECT_EQ(writer.GetFileSize(), 41u);
    writer.Close();
    Unpack("s.dump", "s.plain");
    const std::string plain = Bytes("s.plain");
    ASSERT_EQ(plain.size(), 41u);
    EXPECT_EQ(plain.substr(0, 3), std::string("\x01\x00\x00", 3)); // little-endian
    EXPECT_EQ(plain.substr(20, 4), std::string("\xff\xff\xff\xff", 4));

    // A header-only dump still packs.
    CODBCDumpWriter empty;
    empty.Open(Path("e.dump"));
    empty.WriteHeader(0, 0);
    empty.Close();
    Unpack("e.dump", "e.plain");
    EXPECT_EQ(Bytes("e.plain").size(), 10u);
}

TEST_F(Dump, TruncatedAndForgedDumpsAnswerTheFormatText) {
    {
        CODBCDumpWriter writer;
        writer.Open(Path("m.dump"));
        writer.WriteHeader(1, 1);
        WriteRecord(writer, 5);
        writer.Close();
    }
    Unpack("m.dump", "m.plain");
    const std::string plain = Bytes("m.plain");
    for (std::size_t cut = 0; cut < plain.size(); ++cut) {
        Put("cut", plain.substr(0, cut));
        CIndirectArray<CTXByteBuffer> buffers;
        CODBCDumpReader reader(&buffers);
        reader.Open(Path("cut"));
        EXPECT_EQ(FailureOf([&] {
                      short v;
                      std::uint64_t c;
                      reader.ReadHeader(v, c);
                      ReadRecord(reader, 5, buffers);
                  }),
                  CString(u"Неверный формат файла"))
            << "cut at " << cut;
    }

    // A blob claiming 2^62 bytes is refused before anything is allocated.
    Put("forged", std::string("\x01", 1) + std::string("\0\0\0\0\0\0\0\x40", 8) + "abc");
    CIndirectArray<CTXByteBuffer> buffers;
    CODBCDumpReader reader(&buffers);
    reader.Open(Path("forged"));
    _tagOdbcBlobField blob;
    EXPECT_EQ(FailureOf([&] { reader.FieldIO(1, blob); }), CString(u"Неверный формат файла"));
    EXPECT_EQ(buffers.GetLength(), 0);

    // A text that does not fit with its terminator.
    Put("text", std::string("\x04\0\0\0", 4) + std::string("a\0b\0c\0d\0", 8));
    reader.Open(Path("text"));
    char16_t text[4];
    std::int64_t ind = 0;
    EXPECT_EQ(FailureOf([&] { reader.FieldIO(1, text, ind, 4); }),
              CString(u"Недостаточная длина буфера."));
}

TEST_F(Dump, FileFailuresAreDatabaseExceptions) {
    CODBCDumpReader reader;
    EXPECT_THROW(reader.Open(Path("missing")), CODBCException);
    CODBCDumpWriter first, second;
    first.Open(Path("x.dump"));
    EXPECT_THROW(second.Open(Path("x.dump")), CODBCException); // the .tmp is taken
    EXPECT_THROW(second.Open(Path("no/such/folder")), CODBCException);
}
