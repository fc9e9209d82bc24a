// Dump files: database values outside the database.
//
// A dump is a 10-byte header (a 16-bit number of the caller's, a 64-bit
// count) followed by values one after another, little-endian, with no
// alignment and no description of the fields: the caller's sequence of
// FieldIO calls is the format, and the same sequence reads it back. A value
// is a flag byte (0 NULL, 1 present) and its bytes; a text is a 32-bit
// character count (-1 NULL) and its UTF-16 units; a blob is the flag, a
// 64-bit byte count and the bytes.
//
// The writer builds the content in "<target>.tmp" and at Close packs it with
// raw deflate into the target. The reader reads unpacked content only: a
// packed dump is inflated by the caller first (CKVZipHelper::ExtractRawDeflate).
#pragma once

#include <cstdint>

#include "tarvex/core/indirectarray.h"
#include "tarvex/core/object.h"
#include "tarvex/database/odbcbinding.h"
#include "tarvex/database/odbcdumpfile.h"
#include "tarvex/database/odbctextfield.h"
#include "tarvex/platform/guid.h"
#include "tarvex/platform/timestamp.h"
#include "tarvex/streams/bytebuffer.h"

class CODBCDumpWriter : public CTarvexObject {
public:
    CODBCDumpWriter() = default;
    // Closes, and so packs; a failure at this point is dropped.
    ~CODBCDumpWriter() override;

    // Closes first, then creates path + ".tmp", locked for this writer.
    void Open(const char16_t* path);
    void WriteHeader(short version, std::uint64_t count);
    // Writes the header again at offset 0 and returns to the end.
    void RewriteHeader(short version, std::uint64_t count);

    // The column number is the caller's bookkeeping and is not stored. An
    // indicator of -1 (SQL_NULL_DATA) writes NULL.
    void FieldIO(short column, const double& value, std::int64_t indicator);
    void FieldIO(short column, const int& value, std::int64_t indicator);
    void FieldIO(short column, const _GUID& value, std::int64_t indicator);
    void FieldIO(short column, const tagTIMESTAMP_STRUCT& value, std::int64_t indicator);
    // The indicator is the character count; -3 (SQL_NTS) measures the text.
    // -1, any other negative value and a null text write NULL.
    void FieldIO(short column, const char16_t* text, std::int64_t indicator, int maxLength);
    void FieldIO(short column, const _tagOdbcBlobField& field);
    void FieldIO(short column, const _tagOdbcTextField& field);

    // Bytes of unpacked content so far.
    std::uint64_t GetFileSize() const { return file.GetSize(); }

    // Packs the content into the target and deletes the temporary file. A
    // failed packing leaves the temporary file and no target.
    void Close();

protected:
    bool Pack();
    void WriteFlagged(const void* value, std::size_t size, std::int64_t indicator);

    CODBCDumpFile file;
    bool isOpen = false;
    CString path;
};

class CODBCDumpReader : public CTarvexObject {
public:
    CODBCDumpReader() = default;
    explicit CODBCDumpReader(CIndirectArray<CTXByteBuffer>* blobBuffers)
        : blobBuffers(blobBuffers) {}
    ~CODBCDumpReader() override;

    // Where blob fields keep their bytes; not owned. Needed before a blob
    // field with content is read.
    void SetBlobBuffer(CIndirectArray<CTXByteBuffer>* buffers) { blobBuffers = buffers; }

    void Open(const char16_t* path);
    void ReadHeader(short& version, std::uint64_t& count);
    // Exactly `size` bytes, or "Неверный формат файла".
    void Read(void* data, unsigned int size);

    // NULL gives indicator -1 and leaves the value alone; a value gives 0.
    void FieldIO(short column, double& value, std::int64_t& indicator);
    void FieldIO(short column, int& value, std::int64_t& indicator);
    void FieldIO(short column, _GUID& value, std::int64_t& indicator);
    // The fraction of a second is not kept: it reads back as 0.
    void FieldIO(short column, tagTIMESTAMP_STRUCT& value, std::int64_t& indicator);
    // `text` must hold `maxLength` characters with the terminator; a
    // maxLength of 0 or below means the caller vouches for any length.
    // Indicator: -1 NULL, 0 empty, -3 (SQL_NTS) otherwise.
    void FieldIO(short column, char16_t* text, std::int64_t& indicator, int maxLength);
    // The bytes go to a new buffer in the blob buffer array; `data` points
    // at them and `indicator` is -100 - length, ready to bind for sending.
    void FieldIO(short column, _tagOdbcBlobField& field);
    // As the blob field, with the bytes in the field's own buffer.
    void FieldIO(short column, _tagOdbcTextField& field);

    void Close();

protected:
    // Reads the flag byte; true when a value follows.
    bool ReadFlag();
    // Reads the length of a present blob and answers it, checked against
    // the bytes left in the file.
    std::int64_t ReadBlobLength(_tagOdbcBlobField& field);

    CODBCDumpFile file;
    bool isOpen = false;
    CIndirectArray<CTXByteBuffer>* blobBuffers = nullptr;
};
