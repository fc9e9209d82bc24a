#include "tarvex/database/odbcaccessor.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "tarvex/database/odbc_internal.h"
#include "tarvex/database/odbcconverter.h"
#include "tarvex/database/odbcexception.h"
#include "tarvex/platform/safearray.h"
#include "tarvex/platform/vartime.h"

namespace {

constexpr std::int64_t kLatePiece = 8192;  // bytes per SQLGetData of a late column
constexpr std::int64_t kLateLimit = 16384; // columns wider than this are late
constexpr std::int64_t kNameLength = 1024; // characters of a column name

void* CopyBytes(const void* bytes, std::int64_t size) {
    void* copy = std::malloc(size_t(size > 0 ? size : 1));
    if (copy == nullptr) throw std::bad_alloc();
    if (bytes != nullptr && size > 0) std::memcpy(copy, bytes, size_t(size));
    return copy;
}

// Long, binary and wide-long columns cannot be bound into a buffer of known
// size: they are read with SQLGetData. SQL_WLONGVARCHAR belongs here too, or
// a driver's default size (8190 for PostgreSQL's text) would cut long texts.
bool IsLateType(short sqlType, std::int64_t size) {
    switch (sqlType) {
    case SQL_LONGVARCHAR:
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY:
    case SQL_WVARCHAR:
    case SQL_WLONGVARCHAR:
        return true;
    default:
        return size > kLateLimit;
    }
}

[[noreturn]] void ThrowParam(const char16_t* message) {
    throw CODBCException(message);
}

// The bytes of a one-byte-element safe array, or false.
bool ArrayBytes(const VARIANT& value, const void*& data, std::int64_t& size) {
    if (!V_ISARRAY(&value) || value.parray == nullptr) return false;
    SAFEARRAY* array = value.parray;
    if (array->cbElements != 1) return false;
    std::int64_t count = 1;
    for (unsigned d = 0; d < array->cDims; ++d) count *= array->rgsabound[d].cElements;
    data = array->pvData;
    size = array->cDims == 0 ? 0 : count;
    return true;
}

} // namespace

// --- CColumnData

CColumnData::CColumnData(const CColumnData& other)
    : CTarvexObject(other), number(other.number), name(other.name), sqlType(other.sqlType),
      cType(other.cType), columnSize(other.columnSize), decimalDigits(other.decimalDigits),
      nullable(other.nullable), bufferSize(other.bufferSize), indicator(other.indicator),
      fetched(other.fetched), bound(false), late(other.late) {
    if (other.buffer != nullptr) buffer = CopyBytes(other.buffer, other.bufferSize);
}

CColumnData::~CColumnData() {
    std::free(buffer);
}

void CColumnData::Reserve(std::int64_t bytes) {
    if (bytes <= bufferSize && buffer != nullptr) return;
    void* grown = std::realloc(buffer, size_t(bytes));
    if (grown == nullptr) throw std::bad_alloc();
    buffer = grown;
    bufferSize = bytes;
}

// --- CParameterData

CParameterData::CParameterData(const CParameterData& other)
    : CTarvexObject(other), number(other.number), ioType(other.ioType), cType(other.cType),
      sqlType(other.sqlType), columnSize(other.columnSize), decimalDigits(other.decimalDigits),
      indicator(other.indicator), bufferSize(other.bufferSize) {
    if (other.buffer != nullptr) buffer = CopyBytes(other.buffer, other.bufferSize);
}

CParameterData::~CParameterData() {
    std::free(buffer);
}

void CParameterData::SetBuffer(const void* bytes, std::int64_t size) {
    if (buffer != nullptr)
        throw CODBCException(u"Недопустима повторная инициализация буфера параметра ODBC.");
    buffer = CopyBytes(bytes, size);
    bufferSize = size;
}

// --- CODBCDynamicAccessor

CODBCDynamicAccessor::CODBCDynamicAccessor()
    : columns(8, 16, true, -8), lateColumns(2, 4, false, -8), parameters(1, 4, true, -8) {}

CODBCDynamicAccessor::CODBCDynamicAccessor(const CODBCDynamicAccessor& other)
    : CODBCAccessorBase(other), columns(8, 16, true, -8), lateColumns(2, 4, false, -8),
      parametersBound(false), allBound(other.allBound), autoGetData(other.autoGetData),
      parameters(1, 4, true, -8) {
    for (int64_t i = 0; i < other.columns.GetLength(); ++i) {
        auto* copy = new CColumnData(*other.columns[i]);
        columns.Add(copy);
        if (copy->late) lateColumns.Add(copy);
    }
    for (int64_t i = 0; i < other.parameters.GetLength(); ++i)
        parameters.Add(new CParameterData(*other.parameters[i]));
}

void CODBCDynamicAccessor::SizeBuffer(CColumnData& column) {
    const std::int64_t size = column.columnSize;
    std::int64_t bytes = 0;
    switch (column.sqlType) {
    case SQL_GUID:
        column.cType = SQL_C_GUID;
        bytes = 16;
        break;
    case SQL_WVARCHAR:
    case SQL_WCHAR:
    case SQL_CHAR:
    case SQL_VARCHAR:
        column.cType = SQL_C_WCHAR;
        bytes = size * 2 + 2;
        break;
    case SQL_BIT:
        column.cType = SQL_C_BIT;
        bytes = 1;
        break;
    case SQL_TINYINT:
        column.cType = SQL_C_TINYINT;
        bytes = 1;
        break;
    case SQL_BIGINT:
        column.cType = SQL_C_SBIGINT;
        bytes = 8;
        break;
    case SQL_NUMERIC:
        // An integer buffer only for what an integer holds: a scale, or more
        // digits than 32 bits carry, would be cut without a word.
        if (column.decimalDigits == 0 && size > 0 && size <= 9) {
            column.cType = SQL_C_LONG;
            bytes = 4;
        } else if (column.decimalDigits == 0 && size > 0 && size <= 18) {
            column.cType = SQL_C_SBIGINT;
            bytes = 8;
        } else if (size > 0 && size <= 15) {
            column.cType = SQL_C_DOUBLE;
            bytes = 8;
        } else {
            column.cType = SQL_C_WCHAR;
            bytes = size > 0 ? (size + 2) * 2 + 2 : 1024;
        }
        break;
    case SQL_INTEGER:
    case SQL_SMALLINT:
        column.cType = SQL_C_LONG;
        bytes = 4;
        break;
    case SQL_FLOAT:
    case SQL_REAL:
    case SQL_DOUBLE:
        column.cType = SQL_C_DOUBLE;
        bytes = 8;
        break;
    case SQL_TIMESTAMP:
    case SQL_TYPE_TIMESTAMP:
        column.cType = SQL_C_TIMESTAMP;
        bytes = 16;
        break;
    case SQL_DECIMAL:
        // As text, with room for the sign and the point.
        column.cType = SQL_C_WCHAR;
        bytes = size > 0 ? (size + 2) * 2 + 2 : 1024;
        break;
    default:
        column.cType = SQL_C_WCHAR;
        bytes = size > 0 ? size * 2 + 2 : 1024;
        break;
    }
    column.Reserve(bytes);
}

void CODBCDynamicAccessor::InitColumn(void* hStmt, short number) {
    auto owned = std::make_unique<CColumnData>();
    CColumnData& column = *owned;
    column.number = number;
    SQLWCHAR name[kNameLength + 1];
    SQLSMALLINT nameLength = 0, sqlType = 0, digits = 0, nullable = 0;
    SQLULEN size = 0;
    if (!SqlSucceeded(SQLDescribeColW(hStmt, number, name, kNameLength + 1, &nameLength, &sqlType,
                                      &size, &digits, &nullable)))
        throw CODBCException(hStmt, SQL_HANDLE_STMT, u"Bind Columns");
    if (nameLength > kNameLength) nameLength = kNameLength;
    column.name = CString(name, nameLength < 0 ? 0 : nameLength);
    column.sqlType = sqlType;
    column.columnSize = std::int64_t(size > SQLULEN(INT64_MAX) ? INT64_MAX : size);
    column.decimalDigits = digits;
    column.nullable = nullable;
    if (column.sqlType == SQL_VARCHAR && column.columnSize == 0) column.sqlType = SQL_LONGVARCHAR;
    column.late = IsLateType(column.sqlType, column.columnSize);
    columns.Add(owned.release());
    if (column.late) {
        column.cType = (column.sqlType == SQL_LONGVARBINARY || column.sqlType == SQL_VARBINARY ||
                        column.sqlType == SQL_BINARY)
                           ? SQL_C_BINARY
                           : SQL_C_WCHAR;
        lateColumns.Add(&column);
    } else {
        // ODBC lets SQLGetData reach only the columns after the last bound
        // one: once a late column stands before a bound one, none is bound.
        if (lateColumns.GetLength() > 0) allBound = false;
        SizeBuffer(column);
    }
}

void CODBCDynamicAccessor::BindColumns(void* hStmt) {
    SQLSMALLINT count = 0;
    if (!SqlSucceeded(SQLNumResultCols(hStmt, &count)))
        throw CODBCException(hStmt, SQL_HANDLE_STMT, u"Bind Columns");
    lateColumns.Flush();
    columns.Flush();
    allBound = true;
    for (short number = 1; number <= count; ++number) InitColumn(hStmt, number);
    if (!allBound) return;
    const std::int64_t boundCount = columns.GetLength() - lateColumns.GetLength();
    for (std::int64_t i = 0; i < boundCount; ++i) {
        CColumnData& column = *columns[i];
        BindColumn(hStmt, column.number, column.cType, column.buffer, column.bufferSize,
                   &column.indicator);
        column.bound = true;
    }
}

void CODBCDynamicAccessor::BindParameters(void* hStmt) {
    if (parametersBound) return;
    for (std::int64_t i = 0; i < parameters.GetLength(); ++i) {
        CParameterData& p = *parameters[i];
        BindParameter(hStmt, p.number, p.ioType, p.cType, p.sqlType, std::uint64_t(p.columnSize),
                      short(p.decimalDigits), p.buffer, p.bufferSize, &p.indicator);
    }
    parametersBound = parameters.GetLength() > 0;
}

void CODBCDynamicAccessor::UnbindAll(void* hStmt) {
    if (hStmt == nullptr) return;
    SQLRETURN rc = SQL_SUCCESS;
    if (parameters.GetLength() > 0) rc = SQLFreeStmt(hStmt, SQL_RESET_PARAMS);
    if (SqlSucceeded(rc) && columns.GetLength() > 0) rc = SQLFreeStmt(hStmt, SQL_UNBIND);
    if (!SqlSucceeded(rc)) throw CODBCException(hStmt, SQL_HANDLE_STMT, u"Unbind All");
    // The list stays; the next execution binds it again.
    parametersBound = false;
    for (std::int64_t i = 0; i < columns.GetLength(); ++i) columns[i]->bound = false;
}

void CODBCDynamicAccessor::GetData(void* hStmt) {
    const CIndirectArray<CColumnData>& unbound = allBound ? lateColumns : columns;
    for (std::int64_t i = 0; i < unbound.GetLength(); ++i) {
        if (autoGetData)
            ReadColumn(hStmt, *unbound[i]);
        else
            unbound[i]->fetched = false;
    }
}

void CODBCDynamicAccessor::CheckTruncation(void* hStmt) const {
    for (std::int64_t i = 0; i < columns.GetLength(); ++i) {
        const CColumnData& column = *columns[i];
        if (!column.bound || column.cType != SQL_C_WCHAR) continue;
        if (column.indicator == SQL_NO_TOTAL || column.indicator > column.bufferSize - 2)
            throw CODBCException(hStmt, SQL_HANDLE_STMT, column.name);
    }
}

void CODBCDynamicAccessor::ReadColumn(void* hStmt, CColumnData& column) {
    SQLLEN got = 0;
    if (column.cType != SQL_C_WCHAR && column.cType != SQL_C_BINARY) {
        // A value of fixed size: one call.
        if (column.buffer == nullptr) SizeBuffer(column);
        const SQLRETURN rc =
            SQLGetData(hStmt, column.number, column.cType, column.buffer, column.bufferSize, &got);
        if (rc == SQL_NO_DATA)
            got = 0;
        else if (!SqlSucceeded(rc))
            throw CODBCException(hStmt, SQL_HANDLE_STMT, column.name);
        column.indicator = got;
        column.fetched = true;
        return;
    }

    // Text and bytes of any length, in pieces: the first offers the whole
    // buffer, each further one 8192 bytes after what has come. The buffer
    // grows by doubling, so a long value costs linear time.
    if (column.buffer == nullptr) column.Reserve(kLatePiece);
    const std::int64_t terminator = column.cType == SQL_C_WCHAR ? 2 : 0;
    std::int64_t offered = column.bufferSize;
    std::int64_t position = 0;
    column.indicator = 0;
    SQLRETURN rc = SQLGetData(hStmt, column.number, column.cType, column.buffer, offered, &got);
    for (;;) {
        if (rc == SQL_NO_DATA) break;
        if (!SqlSucceeded(rc)) throw CODBCException(hStmt, SQL_HANDLE_STMT, column.name);
        if (got == SQL_NULL_DATA) {
            column.indicator = SQL_NULL_DATA;
            break;
        }
        if (got != SQL_NO_TOTAL && got <= offered - terminator) {
            column.indicator += got;
            break;
        }
        const std::int64_t part = offered - terminator;
        column.indicator += part;
        position += part;
        if (position + kLatePiece > column.bufferSize) {
            std::int64_t capacity = column.bufferSize * 2;
            if (capacity < position + kLatePiece) capacity = position + kLatePiece;
            column.Reserve(capacity);
        }
        offered = kLatePiece;
        rc = SQLGetData(hStmt, column.number, column.cType,
                        static_cast<char*>(column.buffer) + position, offered, &got);
    }
    if (column.cType == SQL_C_WCHAR && column.indicator >= 0) {
        // The terminator is there after a complete read; make sure of it.
        column.Reserve(column.indicator + 2);
        static_cast<char*>(column.buffer)[column.indicator] = 0;
        static_cast<char*>(column.buffer)[column.indicator + 1] = 0;
    }
    column.fetched = true;
}

CColumnData* CODBCDynamicAccessor::ColumnAt(short column) const {
    if (column < 1 || column > columns.GetLength()) return nullptr;
    return columns[column - 1];
}

const CColumnData* CODBCDynamicAccessor::GetColumn(short column) const {
    return ColumnAt(column);
}

void CODBCDynamicAccessor::EnsureRead(void* hStmt, CColumnData& column) {
    if (!column.bound && !column.fetched) ReadColumn(hStmt, column);
}

bool CODBCDynamicAccessor::GetColumnName(short column, CString& name) const {
    const CColumnData* data = ColumnAt(column);
    if (data == nullptr) return false;
    name = data->name;
    return true;
}

bool CODBCDynamicAccessor::GetColumnType(void* hStmt, short column, short* cType) {
    CColumnData* data = ColumnAt(column);
    if (data == nullptr) return false;
    EnsureRead(hStmt, *data);
    if (cType) *cType = data->cType;
    return true;
}

bool CODBCDynamicAccessor::GetStatus(void* hStmt, short column, ODBCStatus* status) {
    CColumnData* data = ColumnAt(column);
    if (data == nullptr) return false;
    EnsureRead(hStmt, *data);
    if (status)
        *status = (data->indicator == SQL_NULL_DATA || data->buffer == nullptr) ? eOdbcStatusNull
                                                                                : eOdbcStatusValue;
    return true;
}

bool CODBCDynamicAccessor::GetLength(void* hStmt, short column, std::int64_t* length) {
    CColumnData* data = ColumnAt(column);
    if (data == nullptr) return false;
    EnsureRead(hStmt, *data);
    std::int64_t bytes = data->indicator < 1 ? 0 : data->indicator;
    if (data->cType == SQL_C_WCHAR) bytes /= 2;
    if (length) *length = bytes;
    return true;
}

COleVariant CODBCDynamicAccessor::GetColumnValue(void* hStmt, short column) {
    ODBCStatus status = eOdbcStatusNull;
    if (!GetStatus(hStmt, column, &status)) return COleVariant();
    const CColumnData& data = *ColumnAt(column);
    return CODBCDataConverter::ToVariant(data.cType, status, data.buffer);
}

// --- Parameters

CParameterData* CODBCDynamicAccessor::NewParameter(short cType, short ioType) {
    if (parametersBound) ThrowParam(u"Нельзя добавлять параметры после выполнения команды.");
    auto* p = new CParameterData;
    p->number = short(parameters.GetLength() + 1);
    p->ioType = ioType;
    p->cType = cType;
    p->sqlType = CODBCBinder::GetSQLType(cType);
    parameters.Add(p);
    return p;
}

const CParameterData* CODBCDynamicAccessor::GetParameter(std::int64_t index) const {
    return index >= 0 && index < parameters.GetLength() ? parameters[index] : nullptr;
}

void CODBCDynamicAccessor::AddParamWithValue(const char16_t* text) {
    CParameterData* p = NewParameter(SQL_C_WCHAR, SQL_PARAM_INPUT);
    if (text == nullptr) {
        p->indicator = SQL_NULL_DATA;
        return;
    }
    const std::int64_t length = std::int64_t(std::char_traits<char16_t>::length(text));
    if (length == 0) {
        const char16_t empty = 0;
        p->SetBuffer(&empty, 2);
        p->indicator = 0;
        return;
    }
    p->SetBuffer(text, length * 2);
    p->columnSize = length;
    p->indicator = length * 2;
}

void CODBCDynamicAccessor::AddParamWithValue(const CString& text) {
    AddParamWithValue(text.GetString());
}

void CODBCDynamicAccessor::AddParamWithValue(const void* bytes, std::int64_t size) {
    CParameterData* p = NewParameter(SQL_C_BINARY, SQL_PARAM_INPUT);
    if (bytes == nullptr) {
        p->indicator = SQL_NULL_DATA;
        return;
    }
    p->SetBuffer(bytes, size);
    p->columnSize = size;
    p->indicator = size;
}

void CODBCDynamicAccessor::AddParamWithValue(std::int32_t value) {
    CParameterData* p = NewParameter(SQL_C_LONG, SQL_PARAM_INPUT);
    p->SetBuffer(&value, 4);
    p->indicator = 4;
}

void CODBCDynamicAccessor::AddParamWithValue(short value) {
    CParameterData* p = NewParameter(SQL_C_SHORT, SQL_PARAM_INPUT);
    p->SetBuffer(&value, 2);
    p->indicator = 2;
}

void CODBCDynamicAccessor::AddParamWithValue(double value) {
    CParameterData* p = NewParameter(SQL_C_DOUBLE, SQL_PARAM_INPUT);
    p->SetBuffer(&value, 8);
    p->indicator = 8;
}

void CODBCDynamicAccessor::AddParamWithValue(const COleVariant& value) {
    const void* bytes = nullptr;
    std::int64_t size = 0;
    switch (value.vt) {
    case VT_EMPTY:
    case VT_NULL:
        AddNullParam(SQL_C_WCHAR, SQL_PARAM_INPUT);
        return;
    case VT_I2:
        AddParamWithValue(short(value.iVal));
        return;
    case VT_I4:
        AddParamWithValue(std::int32_t(value.lVal));
        return;
    case VT_R4:
        AddParamWithValue(double(value.fltVal));
        return;
    case VT_R8:
        AddParamWithValue(value.dblVal);
        return;
    case VT_BSTR:
        AddParamWithValue(value.bstrVal ? value.bstrVal : u"");
        return;
    case VT_ARRAY | VT_I1:
        if (ArrayBytes(value, bytes, size)) {
            AddParamWithValue(bytes != nullptr ? bytes : "", size);
            return;
        }
        break;
    default:
        break;
    }
    ThrowParam(u"Неподдерживаемый тип параметра");
}

void CODBCDynamicAccessor::AddNullParam(short cType, short ioType) {
    CParameterData* p = NewParameter(cType, ioType);
    p->indicator = SQL_NULL_DATA;
}

void CODBCDynamicAccessor::AddParameter(unsigned short cType, unsigned short ioType,
                                        std::int64_t size) {
    CParameterData* p = NewParameter(short(cType), short(ioType));
    std::unique_ptr<unsigned char[]> zeros(new unsigned char[size_t(size > 0 ? size : 1)]());
    p->SetBuffer(zeros.get(), size > 0 ? size : 0);
    if (p->cType == SQL_C_WCHAR)
        p->columnSize = size / 2;
    else if (p->cType == SQL_C_BINARY)
        p->columnSize = size;
    p->indicator = 0;
}

void CODBCDynamicAccessor::AddParameters(CIndirectArray<COleVariant>& values) {
    for (std::int64_t i = 0; i < values.GetLength(); ++i)
        AddParamWithValue(values[i] ? *values[i] : COleVariant());
}

void CODBCDynamicAccessor::SetParameter(unsigned short index, const COleVariant& value) {
    // An index equal to the count passes the range test as written, but there
    // is no such parameter: it is refused as a bad index too.
    if (index >= parameters.GetLength()) {
        CString message;
        message.Format(u"Неверный индекс параметра (%d)", int(index));
        ThrowParam(message);
    }
    CParameterData& p = *parameters[index];
    if (value.vt <= VT_NULL) {
        p.indicator = SQL_NULL_DATA;
        return;
    }
    COleVariant converted;
    const void* bytes = nullptr;
    std::int64_t size = 0;
    TIMESTAMP_STRUCT stamp{};
    switch (p.cType) {
    case SQL_C_WCHAR:
        if (FAILED(VariantChangeType(&converted, &value, 0, VT_BSTR)))
            ThrowParam(u"Ошибка преобразования типа");
        bytes = converted.bstrVal;
        size = std::int64_t(SysStringLen(converted.bstrVal)) * 2;
        break;
    case SQL_C_TINYINT:
        if (FAILED(VariantChangeType(&converted, &value, 0, VT_I1)))
            ThrowParam(u"Ошибка преобразования типа");
        bytes = &converted.cVal;
        size = 1;
        break;
    case SQL_C_BINARY:
        if (!ArrayBytes(value, bytes, size)) ThrowParam(u"Ошибка преобразования типа");
        break;
    case SQL_C_LONG:
        if (FAILED(VariantChangeType(&converted, &value, 0, VT_I4)))
            ThrowParam(u"Ошибка преобразования типа");
        bytes = &converted.lVal;
        size = 4;
        break;
    case SQL_C_SHORT:
        if (FAILED(VariantChangeType(&converted, &value, 0, VT_I2)))
            ThrowParam(u"Ошибка преобразования типа");
        bytes = &converted.iVal;
        size = 2;
        break;
    case SQL_C_DOUBLE:
        if (FAILED(VariantChangeType(&converted, &value, 0, VT_R8)))
            ThrowParam(u"Ошибка преобразования типа");
        bytes = &converted.dblVal;
        size = 8;
        break;
    case SQL_C_TIMESTAMP: {
        // The date travels as the timestamp record the parameter is bound as,
        // not as the 8 bytes of its double.
        if (FAILED(VariantChangeType(&converted, &value, 0, VT_DATE)))
            ThrowParam(u"Ошибка преобразования типа");
        SYSTEMTIME time{};
        if (!VariantTimeToSystemTime(converted.date, &time))
            ThrowParam(u"Ошибка преобразования типа");
        stamp.year = std::int16_t(time.wYear);
        stamp.month = time.wMonth;
        stamp.day = time.wDay;
        stamp.hour = time.wHour;
        stamp.minute = time.wMinute;
        stamp.second = time.wSecond;
        stamp.fraction = std::uint32_t(time.wMilliseconds) * 1000000u;
        bytes = &stamp;
        size = sizeof stamp;
        break;
    }
    default:
        ThrowParam(u"Неподдерживаемый тип параметра");
    }
    if (size > p.bufferSize || (size > 0 && p.buffer == nullptr))
        ThrowParam(u"Недостаточная длина буфера");
    if (size > 0) std::memcpy(p.buffer, bytes, size_t(size));
    p.indicator = size;
}
