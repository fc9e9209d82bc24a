#include "tarvex/database/odbcbinding.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "tarvex/database/odbc_internal.h"
#include "tarvex/database/odbcaccessorbase.h"
#include "tarvex/database/odbcexception.h"

namespace {

constexpr SQLLEN kTextPiece = 16384;   // bytes per SQLGetData of a text binding
constexpr SQLLEN kStreamBlock = 32768; // bytes per SQLPutData of a stream

void* TokenOf(short column) {
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(column));
}

CODBCBinding* NewBinding(CODBCBindings& bindings, short column, short cType, std::int32_t kind,
                         void* buffer, std::int64_t size, ODBCStatus* status,
                         std::int64_t* length) {
    auto binding = std::make_unique<CODBCBinding>();
    binding->column = column;
    binding->cType = cType;
    binding->kind = kind;
    binding->buffer = buffer;
    binding->size = size;
    binding->status = status;
    binding->length = length;
    bindings.Add(binding.get());
    return binding.release();
}

void CheckStreamIid(REFIID iid) {
    if (!IsEqualIID(iid, IID_ISequentialStream))
        throw CODBCException(u"Для привязки потоков поддерживается только ISequentialStream.");
}

} // namespace

// --- CODBCBinding

CODBCBinding::~CODBCBinding() {
    if (kind == eKindOwnStream && buffer != nullptr)
        static_cast<CODBCSequentialStream*>(buffer)->Release();
}

void* CODBCBinding::GetToken() const {
    return blobField != nullptr ? static_cast<void*>(blobField) : TokenOf(column);
}

void CODBCBinding::UpdateState(void* hStmt) {
    switch (kind) {
    case eKindBuffer:
        if (indicator == SQL_NULL_DATA) {
            if (buffer != nullptr && size > 0) std::memset(buffer, 0, size_t(size));
            if (status) *status = eOdbcStatusNull;
        } else if (status) {
            *status = eOdbcStatusValue;
        }
        if (length) *length = indicator;
        break;
    case eKindOwnStream: {
        auto* stream = static_cast<CODBCSequentialStream*>(buffer);
        stream->hStmt = hStmt;
        stream->column = column;
        [[fallthrough]];
    }
    case eKindOuterStream:
        if (length) *length = indicator;
        if (status) *status = eOdbcStatusValue;
        break;
    case eKindText: {
        auto* text = static_cast<CString*>(buffer);
        bool isNull = false;
        CString value;
        ReadString(hStmt, column, value, &isNull);
        if (!isNull) {
            if (text) *text = value;
            if (status) *status = eOdbcStatusValue;
            if (length) *length = value.GetLength();
        } else {
            indicator = SQL_NULL_DATA;
            if (text) text->Empty();
            if (status) *status = eOdbcStatusNull;
            if (length) *length = 0;
        }
        break;
    }
    default:
        break;
    }
}

void CODBCBinding::UpdateParamState(void* hStmt) {
    if (status != nullptr && *status == eOdbcStatusNull) {
        indicator = SQL_NULL_DATA;
        return;
    }
    switch (kind) {
    case eKindBuffer:
        if (blobField != nullptr) break; // the field keeps its own indicator
        if (length != nullptr && indicator != SQL_DATA_AT_EXEC) {
            indicator = *length;
        } else if (buffer != nullptr && cType == SQL_C_WCHAR) {
            indicator =
                SQLLEN(std::char_traits<char16_t>::length(static_cast<char16_t*>(buffer))) * 2;
        } else if (buffer != nullptr && cType == SQL_C_CHAR) {
            indicator = SQLLEN(std::strlen(static_cast<char*>(buffer)));
        }
        break;
    case eKindOuterStream:
    case eKindOwnStream:
        if (kind == eKindOwnStream) {
            auto* stream = static_cast<CODBCSequentialStream*>(buffer);
            stream->hStmt = hStmt;
            stream->column = column;
        }
        indicator = SQL_DATA_AT_EXEC;
        spool.clear();
        if (spoolStream) {
            // The SQLite driver takes a value of unannounced length as empty:
            // read the stream now and announce its length.
            auto* stream = static_cast<ISequentialStream*>(buffer);
            std::size_t used = 0;
            for (;;) {
                spool.resize(used + kStreamBlock);
                ULONG got = 0;
                if (stream == nullptr ||
                    FAILED(stream->Read(spool.data() + used, kStreamBlock, &got)) || got == 0)
                    break;
                used += got;
            }
            spool.resize(used);
            indicator = SQL_LEN_DATA_AT_EXEC(SQLLEN(used));
        }
        break;
    case eKindText:
        // Data at execution, with the byte count announced: drivers that
        // size the value up front (SQLite's) would otherwise store nothing.
        indicator =
            buffer != nullptr
                ? SQL_LEN_DATA_AT_EXEC(SQLLEN(static_cast<CString*>(buffer)->GetLength()) * 2)
                : SQL_NULL_DATA;
        break;
    default:
        break;
    }
}

void CODBCBinding::GetParamData(void* hStmt) {
    SQLRETURN rc = SQL_SUCCESS;
    switch (kind) {
    case eKindBuffer:
        if (blobField != nullptr)
            rc = SQLPutData(hStmt, blobField->data, blobField->data ? blobField->length : 0);
        else
            rc = SQLPutData(hStmt, nullptr, 0);
        break;
    case eKindOuterStream:
    case eKindOwnStream: {
        if (spoolStream) {
            std::size_t sent = 0;
            do {
                const std::size_t count = std::min<std::size_t>(kStreamBlock, spool.size() - sent);
                rc = SQLPutData(hStmt, spool.data() + sent, SQLLEN(count));
                sent += count;
            } while (SqlSucceeded(rc) && sent < spool.size());
            spool.clear();
            break;
        }
        auto* stream = static_cast<ISequentialStream*>(buffer);
        std::unique_ptr<unsigned char[]> block(new unsigned char[kStreamBlock]);
        // Without a single block, the driver still needs a call to close
        // the value: an empty stream sends an empty value.
        bool sent = false;
        for (;;) {
            ULONG got = 0;
            if (stream == nullptr || FAILED(stream->Read(block.get(), kStreamBlock, &got)) ||
                got == 0)
                break; // a failed read ends the value quietly
            rc = SQLPutData(hStmt, block.get(), got);
            sent = true;
            if (!SqlSucceeded(rc)) break;
        }
        if (!sent) rc = SQLPutData(hStmt, block.get(), 0);
        break;
    }
    case eKindText: {
        auto* text = static_cast<CString*>(buffer);
        const char16_t* data = text ? text->GetString() : u"";
        const SQLLEN bytes = text ? SQLLEN(text->GetLength()) * 2 : 0;
        rc = SQLPutData(hStmt, const_cast<char16_t*>(data), bytes);
        break;
    }
    default:
        break;
    }
    if (!SqlSucceeded(rc)) throw CODBCException(hStmt, SQL_HANDLE_STMT, u"Put Data");
}

void CODBCBinding::ReadString(void* hStmt, short column, CString& out, bool* isNull) {
    out.Empty();
    if (isNull) *isNull = false;
    char16_t piece[kTextPiece / 2];
    for (bool first = true;; first = false) {
        SQLLEN got = 0;
        const SQLRETURN rc = SQLGetData(hStmt, column, SQL_C_WCHAR, piece, kTextPiece, &got);
        if (rc == SQL_NO_DATA) break;
        if (!SqlSucceeded(rc)) throw CODBCException(hStmt, SQL_HANDLE_STMT, u"Read String");
        if (got < 0 && got != SQL_NO_TOTAL) {
            if (first && got == SQL_NULL_DATA && isNull) *isNull = true;
            break;
        }
        // A piece that did not hold the rest ends in a terminator, which is
        // not part of the text.
        const SQLLEN room = kTextPiece - 2;
        const SQLLEN bytes = (got == SQL_NO_TOTAL || got > room) ? room : got;
        out.Append(piece, int(bytes / 2));
        if (rc == SQL_SUCCESS) break;
    }
}

// --- CODBCBindings

void CODBCBindings::UpdateState(void* hStmt) {
    for (int64_t i = 0; i < GetLength(); ++i) (*this)[i]->UpdateState(hStmt);
}

void CODBCBindings::UpdateParamState(void* hStmt) {
    for (int64_t i = 0; i < GetLength(); ++i) {
        (*this)[i]->spoolStream = needLongDataLength;
        (*this)[i]->UpdateParamState(hStmt);
    }
}

void CODBCBindings::SetConnection(void* hDbc) {
    SQLCHAR answer[4] = {};
    SQLSMALLINT length = 0;
    needLongDataLength =
        hDbc != nullptr &&
        SqlSucceeded(SQLGetInfo(hDbc, SQL_NEED_LONG_DATA_LEN, answer, sizeof answer, &length)) &&
        answer[0] == 'Y';
}

bool CODBCBindings::GetParamData(void* hStmt, void* token) {
    for (int64_t i = 0; i < GetLength(); ++i) {
        if ((*this)[i]->GetToken() == token) {
            (*this)[i]->GetParamData(hStmt);
            return true;
        }
    }
    return false;
}

// --- CODBCSequentialStream

HRESULT CODBCSequentialStream::QueryInterface(REFIID riid, void** object) {
    if (object == nullptr) return E_POINTER;
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_ISequentialStream)) {
        *object = static_cast<ISequentialStream*>(this);
        AddRef();
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

ULONG CODBCSequentialStream::AddRef() {
    return ++refCount;
}

ULONG CODBCSequentialStream::Release() {
    const ULONG left = --refCount;
    if (left == 0) delete this;
    return left;
}

HRESULT CODBCSequentialStream::Read(void* data, ULONG size, ULONG* read) {
    SQLLEN got = 0;
    const SQLRETURN rc = SQLGetData(hStmt, column, SQL_C_BINARY, data, SQLLEN(size), &got);
    if (read) *read = 0;
    if (rc == SQL_NO_DATA) return S_FALSE;
    if (!SqlSucceeded(rc)) throw CODBCException(hStmt, SQL_HANDLE_STMT, u"Read Stream");
    ULONG count = 0;
    if (got == SQL_NULL_DATA)
        count = 0;
    else if (rc == SQL_SUCCESS_WITH_INFO || got == SQL_NO_TOTAL || got > SQLLEN(size))
        count = size; // more follows: the block is full
    else
        count = ULONG(got);
    if (read) *read = count;
    return S_OK;
}

HRESULT CODBCSequentialStream::Write(const void*, ULONG, ULONG*) {
    throw CODBCException(u"Функция не реализована");
}

// --- CODBCBinder

short CODBCBinder::GetSQLType(short cType) {
    switch (cType) {
    case -11:
        return -11;
    case -8:
        return SQL_VARCHAR;
    case -6:
        return 5;
    case -2:
        return SQL_LONGVARBINARY;
    case 4:
    case 5:
        return 4;
    case 8:
        return 8;
    case 11:
        return 11;
    default:
        return cType;
    }
}

void CODBCBinder::ResetParams(void* hStmt) {
    if (!SqlSucceeded(SQLFreeStmt(hStmt, SQL_RESET_PARAMS)))
        throw CODBCException(hStmt, SQL_HANDLE_STMT, u"SQLFreeStmt(SQL_RESET_PARAMS)");
}

void CODBCBinder::UnbindColumns(void* hStmt) {
    if (!SqlSucceeded(SQLFreeStmt(hStmt, SQL_UNBIND)))
        throw CODBCException(hStmt, SQL_HANDLE_STMT, u"SQLFreeStmt(SQL_UNBIND)");
}

// --- CODBCColumnBinder

CODBCBinding* CODBCColumnBinder::BindItem(void* hStmt, CODBCBindings& bindings, short column,
                                          short cType, void* buffer, std::int64_t size,
                                          ODBCStatus* status, std::int64_t* length) {
    CODBCBinding* binding = NewBinding(bindings, column, cType, CODBCBinding::eKindBuffer, buffer,
                                       size, status, length);
    CODBCAccessorBase::BindColumn(hStmt, column, cType, buffer, size, &binding->indicator);
    return binding;
}

CODBCBinding* CODBCColumnBinder::BindItem2(void* hStmt, CODBCBindings& bindings, short column,
                                           short cType, void* buffer, std::int64_t size,
                                           std::int64_t* indicator) {
    CODBCBinding* binding = NewBinding(bindings, column, cType, CODBCBinding::eKindBuffer, buffer,
                                       size, nullptr, nullptr);
    CODBCAccessorBase::BindColumn(hStmt, column, cType, buffer, size, indicator);
    return binding;
}

CODBCBinding* CODBCColumnBinder::BindBlobBufItem(void* hStmt, CODBCBindings& bindings, short column,
                                                 _tagOdbcBlobField* fields) {
    const std::int64_t records = bindings.GetRecordsCount();
    for (std::int64_t i = 0; i < records; ++i)
        fields[i].token = records > 1 ? ((i << 8) | (column & 0xFF)) : column;
    CODBCBinding* binding = NewBinding(bindings, column, SQL_C_BINARY, CODBCBinding::eKindBuffer,
                                       fields, 0, nullptr, nullptr);
    CODBCAccessorBase::BindColumn(hStmt, column, SQL_C_BINARY, fields, 0, &fields[0].indicator);
    return binding;
}

CODBCBinding* CODBCColumnBinder::BindStream(void*, CODBCBindings& bindings, short column,
                                            REFIID iid, ISequentialStream** stream,
                                            ODBCStatus* status, std::int64_t* length) {
    CheckStreamIid(iid);
    auto* own = new CODBCSequentialStream(SQL_C_BINARY);
    own->AddRef(); // the binding's reference
    CODBCBinding* binding = NewBinding(bindings, column, SQL_C_BINARY, CODBCBinding::eKindOwnStream,
                                       own, 0, status, length);
    if (stream != nullptr) {
        own->AddRef();
        *stream = own;
    }
    return binding;
}

CODBCBinding* CODBCColumnBinder::BindText(void*, CODBCBindings& bindings, short column,
                                          CString* text, ODBCStatus* status, std::int64_t* length) {
    return NewBinding(bindings, column, SQL_C_WCHAR, CODBCBinding::eKindText, text, 0, status,
                      length);
}

// --- CODBCParamBinder

CODBCBinding* CODBCParamBinder::BindItem(void* hStmt, CODBCBindings& bindings, short column,
                                         short cType, void* buffer, std::int64_t size,
                                         std::int64_t columnSize, ODBCStatus* status,
                                         std::int64_t* length) {
    CODBCBinding* binding = NewBinding(bindings, column, cType, CODBCBinding::eKindBuffer, buffer,
                                       size, status, length);
    CODBCAccessorBase::BindParameter(hStmt, column, SQL_PARAM_INPUT, cType, GetSQLType(cType),
                                     columnSize ? columnSize : size, 0, buffer, size,
                                     &binding->indicator);
    return binding;
}

CODBCBinding* CODBCParamBinder::BindItem2(void* hStmt, CODBCBindings& bindings, short column,
                                          short cType, void* buffer, std::int64_t size,
                                          std::int64_t* indicator, std::int64_t columnSize) {
    CODBCBinding* binding = NewBinding(bindings, column, cType, CODBCBinding::eKindBuffer, buffer,
                                       size, nullptr, nullptr);
    CODBCAccessorBase::BindParameter(hStmt, column, SQL_PARAM_INPUT, cType, GetSQLType(cType),
                                     columnSize ? columnSize : size, 0, buffer, size, indicator);
    return binding;
}

CODBCBinding* CODBCParamBinder::BindBlobBufItem(void* hStmt, CODBCBindings& bindings, short column,
                                                _tagOdbcBlobField* field) {
    CODBCBinding* binding = NewBinding(bindings, column, SQL_C_BINARY, CODBCBinding::eKindBuffer,
                                       field, 0, nullptr, nullptr);
    binding->blobField = field;
    CODBCAccessorBase::BindParameter(hStmt, column, SQL_PARAM_INPUT, SQL_C_BINARY,
                                     SQL_LONGVARBINARY, 0x7fffffff, 0, field, 0, &field->indicator);
    return binding;
}

CODBCBinding* CODBCParamBinder::BindStream(void* hStmt, CODBCBindings& bindings, short column,
                                           REFIID iid, ISequentialStream* stream,
                                           ODBCStatus* status, std::int64_t* length) {
    CheckStreamIid(iid);
    CODBCBinding* binding = NewBinding(bindings, column, SQL_C_BINARY,
                                       CODBCBinding::eKindOuterStream, stream, 0, status, length);
    binding->indicator = SQL_DATA_AT_EXEC;
    CODBCAccessorBase::BindParameter(hStmt, column, SQL_PARAM_INPUT, SQL_C_BINARY,
                                     SQL_LONGVARBINARY, 0x7fffffff, 0, TokenOf(column), 0,
                                     &binding->indicator);
    return binding;
}

CODBCBinding* CODBCParamBinder::BindText(void* hStmt, CODBCBindings& bindings, short column,
                                         CString* text, ODBCStatus* status, std::int64_t* length) {
    CODBCBinding* binding =
        NewBinding(bindings, column, SQL_C_WCHAR, CODBCBinding::eKindText, text, 0, status, length);
    binding->indicator = SQL_DATA_AT_EXEC;
    CODBCAccessorBase::BindParameter(hStmt, column, SQL_PARAM_INPUT, SQL_C_WCHAR, SQL_LONGVARCHAR,
                                     0x7fffffff, 0, TokenOf(column), 0, &binding->indicator);
    return binding;
}

// --- CODBCAccessorsBinder

CODBCBinding* CODBCAccessorsBinder::BindItem(void*, CODBCBindings&, ...) {
    throw CODBCException(u"Функция не реализована");
}
CODBCBinding* CODBCAccessorsBinder::BindItem2(void*, CODBCBindings&, ...) {
    throw CODBCException(u"Функция не реализована");
}
CODBCBinding* CODBCAccessorsBinder::BindBlobBufItem(void*, CODBCBindings&, ...) {
    throw CODBCException(u"Функция не реализована");
}
CODBCBinding* CODBCAccessorsBinder::BindStream(void*, CODBCBindings&, ...) {
    throw CODBCException(u"Функция не реализована");
}
CODBCBinding* CODBCAccessorsBinder::BindText(void*, CODBCBindings&, ...) {
    throw CODBCException(u"Функция не реализована");
}
