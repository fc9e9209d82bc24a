// CODBCDynamicAccessor: columns found out at run time, each with a buffer of
// its own, and parameters built from values. Columns are bound when they can
// be; the others ("late" columns: long, binary, or wide) are read with
// SQLGetData, whole, after each fetch or on first access.
#pragma once

#include <cstdint>

#include "tarvex/core/indirectarray.h"
#include "tarvex/core/object.h"
#include "tarvex/database/odbcaccessorbase.h"
#include "tarvex/database/odbcbinding.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/olevariant.h"

class CColumnData : public CTarvexObject {
public:
    CColumnData() = default;
    CColumnData(const CColumnData& other);
    CColumnData& operator=(const CColumnData&) = delete;
    ~CColumnData() override;

    // Makes the buffer at least `bytes` long, keeping what it holds.
    void Reserve(std::int64_t bytes);

    short number = 0;
    CString name;
    short sqlType = 0;
    short cType = 0;
    std::int64_t columnSize = 0;
    short decimalDigits = 0;
    short nullable = 0;
    void* buffer = nullptr;
    std::int64_t bufferSize = 0;
    std::int64_t indicator = 0;
    bool fetched = false;
    bool bound = false;
    bool late = false;
};

class CParameterData : public CTarvexObject {
public:
    CParameterData() = default;
    CParameterData(const CParameterData& other);
    CParameterData& operator=(const CParameterData&) = delete;
    ~CParameterData() override;

    // Takes a copy of `bytes`; a second buffer is refused.
    void SetBuffer(const void* bytes, std::int64_t size);

    short number = 0;
    short ioType = 1;
    short cType = 0;
    short sqlType = 0;
    std::int64_t columnSize = 0;
    std::int64_t decimalDigits = 0;
    std::int64_t indicator = 0;
    void* buffer = nullptr;
    std::int64_t bufferSize = 0;
};

class CODBCDynamicAccessor : public CODBCAccessorBase {
public:
    CODBCDynamicAccessor();
    CODBCDynamicAccessor(const CODBCDynamicAccessor& other);
    CODBCDynamicAccessor& operator=(const CODBCDynamicAccessor&) = delete;

    void BindColumns(void* hStmt) override;
    void BindParameters(void* hStmt) override;
    bool HasOutputColumns() const override { return columns.GetLength() > 0; }
    bool HasParameters() const override { return parameters.GetLength() > 0; }
    ~CODBCDynamicAccessor() override = default;

    // After a fetch: reads the columns that are not bound, now or (with
    // autoGetData off) on first access.
    void GetData(void* hStmt) override;
    void UnbindAll(void* hStmt) override;
    // After a fetch that reported information: a bound column whose value
    // did not fit its buffer is a CODBCException, never a cut value.
    void CheckTruncation(void* hStmt) const;

    // Columns, numbered from 1.
    std::int64_t GetColumnCount() const { return columns.GetLength(); }
    bool GetColumnName(short column, CString& name) const;
    // The C type the column is read as.
    bool GetColumnType(void* hStmt, short column, short* cType);
    bool GetStatus(void* hStmt, short column, ODBCStatus* status);
    // In characters for text, in bytes otherwise.
    bool GetLength(void* hStmt, short column, std::int64_t* length);
    COleVariant GetColumnValue(void* hStmt, short column);
    const CColumnData* GetColumn(short column) const;
    bool IsAllBound() const { return allBound; }
    void SetAutoGetData(bool value) { autoGetData = value; }

    // Parameters, numbered in the order they are added.
    void AddParamWithValue(const char16_t* text);
    void AddParamWithValue(const CString& text);
    void AddParamWithValue(const void* bytes, std::int64_t size);
    void AddParamWithValue(std::int32_t value);
    void AddParamWithValue(short value);
    void AddParamWithValue(double value);
    void AddParamWithValue(const COleVariant& value);
    void AddNullParam(short cType, short ioType);
    // A parameter with a buffer of `size` bytes and no value yet.
    void AddParameter(unsigned short cType, unsigned short ioType, std::int64_t size);
    void AddParameters(CIndirectArray<COleVariant>& values);
    // `index` counts from 0. The value is changed to the parameter's type
    // and copied into its buffer.
    void SetParameter(unsigned short index, const COleVariant& value);
    std::int64_t GetParameterCount() const { return parameters.GetLength(); }
    const CParameterData* GetParameter(std::int64_t index) const;

protected:
    // Reads a column that is neither bound nor fetched yet.
    void EnsureRead(void* hStmt, CColumnData& column);
    void ReadColumn(void* hStmt, CColumnData& column);
    CColumnData* ColumnAt(short column) const;

    CIndirectArray<CColumnData> columns;
    CIndirectArray<CColumnData> lateColumns;
    bool parametersBound = false;
    bool allBound = true;
    bool autoGetData = true;
    CIndirectArray<CParameterData> parameters;

private:
    CParameterData* NewParameter(short cType, short ioType);
    void InitColumn(void* hStmt, short number);
    static void SizeBuffer(CColumnData& column);
};
