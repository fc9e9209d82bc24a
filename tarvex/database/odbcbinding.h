// The static binding model: columns and parameters tied to fields of a
// record known at compile time, through the binders below. A binding keeps
// what must happen to its field after a fetch and before an execute.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "tarvex/core/indirectarray.h"
#include "tarvex/core/object.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/guid.h"
#include "tarvex/platform/sequentialstream.h"
#include "tarvex/platform/timestamp.h"

// Whether a fetched value is there: anything else is a broken status.
enum ODBCStatus : std::int32_t {
    eOdbcStatusValue = 0,
    eOdbcStatusNull = -1,
};

// A binary field of a record, sent and received at execution time.
struct _tagOdbcBlobField {
    std::int64_t token = 0;
    std::int64_t indicator = -100; // SQL_DATA_AT_EXEC
    void* data = nullptr;
    std::int64_t length = 0;

    void InitBlob() {
        indicator = -100;
        data = nullptr;
        length = 0;
    }
};

class CODBCBindingBase : public CTarvexObject {
public:
    ODBCStatus* status = nullptr;
    std::int64_t* length = nullptr;
    std::int64_t size = 0;
};

class CODBCBinding : public CODBCBindingBase {
public:
    enum EKind : std::int32_t {
        eKindBuffer = 0,
        eKindOuterStream = 1,
        eKindOwnStream = 2,
        eKindText = 3,
    };

    ~CODBCBinding() override;

    // After a fetch: status and length into the record's fields.
    void UpdateState(void* hStmt);
    // Before an execute: the indicator from the record's fields.
    void UpdateParamState(void* hStmt);
    // At data-at-execution: sends this parameter's data.
    void GetParamData(void* hStmt);
    // The token the driver hands back for this parameter.
    void* GetToken() const;

    // A text column read whole with SQLGetData in pieces of 16384 bytes.
    static void ReadString(void* hStmt, short column, CString& out, bool* isNull = nullptr);

    short column = 0;
    short cType = 0;
    std::int32_t kind = eKindBuffer;
    void* buffer = nullptr; // the data, the stream or the CString
    std::int64_t indicator = 0;
    _tagOdbcBlobField* blobField = nullptr; // a blob parameter sends its field's bytes
    // A driver that must know a long value's length before its data gets a
    // stream read whole in advance; these are its bytes.
    bool spoolStream = false;
    std::vector<unsigned char> spool;
};

class CODBCBindings : public CIndirectArray<CODBCBinding> {
public:
    CODBCBindings() : CIndirectArray<CODBCBinding>(4, 8, true, -8) {}

    std::int64_t GetRecordsCount() const { return recordsCount; }
    void SetRecordsCount(std::int64_t count) { recordsCount = count < 1 ? 1 : count; }

    void UpdateState(void* hStmt);
    void UpdateParamState(void* hStmt);
    // Whether the driver needs the length of a long value before its data
    // (SQL_NEED_LONG_DATA_LEN), asked of the connection once.
    void SetConnection(void* hDbc);
    // Sends the data of the parameter that `token` names; false if none does.
    bool GetParamData(void* hStmt, void* token);

private:
    std::int64_t recordsCount = 1;
    bool needLongDataLength = false;
};

// ISequentialStream over SQLGetData of one column: reads a blob column in
// pieces the caller chooses, never holding it whole.
class CODBCSequentialStream : public ISequentialStream {
public:
    explicit CODBCSequentialStream(short cType) : cType(cType) {}

    HRESULT QueryInterface(REFIID riid, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;
    HRESULT Read(void* data, ULONG size, ULONG* read) override;
    HRESULT Write(const void* data, ULONG size, ULONG* written) override;

    void* hStmt = nullptr;
    short column = 0;
    short cType;

private:
    virtual ~CODBCSequentialStream() = default;
    std::atomic<ULONG> refCount{0};
};

// The C and SQL types and sizes of the record field types.
class CODBCBinder {
public:
    static short GetCType(const unsigned char&) { return -6; }
    static short GetCType(const short&) { return 5; }
    static short GetCType(const int&) { return 4; }
    static short GetCType(const long&) { return 4; }
    static short GetCType(const double&) { return 8; }
    static short GetCType(const char16_t* const&) { return -8; }
    static short GetCType(const _GUID&) { return -11; }
    static short GetCType(const tagTIMESTAMP_STRUCT&) { return 11; }

    static std::int64_t GetSQLLen(const unsigned char&, std::int64_t = 0) { return 3; }
    static std::int64_t GetSQLLen(const short&, std::int64_t = 0) { return 5; }
    static std::int64_t GetSQLLen(const int&, std::int64_t = 0) { return 10; }
    static std::int64_t GetSQLLen(const long&, std::int64_t = 0) { return 10; }
    static std::int64_t GetSQLLen(const double&, std::int64_t = 0) { return 15; }
    static std::int64_t GetSQLLen(const char16_t* const&, std::int64_t given) { return given; }
    static std::int64_t GetSQLLen(const _GUID&, std::int64_t = 0) { return 36; }
    static std::int64_t GetSQLLen(const tagTIMESTAMP_STRUCT&, std::int64_t = 0) { return 23; }

    template <class T>
    static short GetScaleOf(const T&) {
        return 0;
    }
    static short GetScaleOf(const tagTIMESTAMP_STRUCT&) { return 3; }

    static short GetSQLType(short cType);
    static void ResetParams(void* hStmt);
    static void UnbindColumns(void* hStmt);
};

// Columns: bound buffers, blob fields, streams and texts read after a fetch.
class CODBCColumnBinder : public CODBCBinder {
public:
    static CODBCBinding* BindItem(void* hStmt, CODBCBindings& bindings, short column, short cType,
                                  void* buffer, std::int64_t size, ODBCStatus* status = nullptr,
                                  std::int64_t* length = nullptr);
    static CODBCBinding* BindItem2(void* hStmt, CODBCBindings& bindings, short column, short cType,
                                   void* buffer, std::int64_t size, std::int64_t* indicator);
    // `fields` holds one field per record of the bindings.
    static CODBCBinding* BindBlobBufItem(void* hStmt, CODBCBindings& bindings, short column,
                                         _tagOdbcBlobField* fields);
    // Hands the caller a stream over the column, valid after each fetch.
    static CODBCBinding* BindStream(void* hStmt, CODBCBindings& bindings, short column, REFIID iid,
                                    ISequentialStream** stream, ODBCStatus* status = nullptr,
                                    std::int64_t* length = nullptr);
    static CODBCBinding* BindText(void* hStmt, CODBCBindings& bindings, short column, CString* text,
                                  ODBCStatus* status = nullptr, std::int64_t* length = nullptr);
};

// Parameters: bound buffers, blob fields, and streams and texts sent at
// execution time.
class CODBCParamBinder : public CODBCBinder {
public:
    // `columnSize` 0 takes the buffer size.
    static CODBCBinding* BindItem(void* hStmt, CODBCBindings& bindings, short column, short cType,
                                  void* buffer, std::int64_t size, std::int64_t columnSize = 0,
                                  ODBCStatus* status = nullptr, std::int64_t* length = nullptr);
    static CODBCBinding* BindItem2(void* hStmt, CODBCBindings& bindings, short column, short cType,
                                   void* buffer, std::int64_t size, std::int64_t* indicator,
                                   std::int64_t columnSize = 0);
    static CODBCBinding* BindBlobBufItem(void* hStmt, CODBCBindings& bindings, short column,
                                         _tagOdbcBlobField* field);
    static CODBCBinding* BindStream(void* hStmt, CODBCBindings& bindings, short column, REFIID iid,
                                    ISequentialStream* stream, ODBCStatus* status = nullptr,
                                    std::int64_t* length = nullptr);
    static CODBCBinding* BindText(void* hStmt, CODBCBindings& bindings, short column, CString* text,
                                  ODBCStatus* status = nullptr, std::int64_t* length = nullptr);
};

// Binding whole accessors at once is not offered: every operation throws.
class CODBCAccessorsBinder : public CODBCBinder {
public:
    static CODBCBinding* BindItem(void*, CODBCBindings&, ...);
    static CODBCBinding* BindItem2(void*, CODBCBindings&, ...);
    static CODBCBinding* BindBlobBufItem(void*, CODBCBindings&, ...);
    static CODBCBinding* BindStream(void*, CODBCBindings&, ...);
    static CODBCBinding* BindText(void*, CODBCBindings&, ...);
};
