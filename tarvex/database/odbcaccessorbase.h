// CODBCAccessorBase: what a command asks of the accessor that moves its
// columns and parameters. CODBCNoAccessor serves commands without either;
// CODBCBindingsAccessor serves records bound through the binders.
#pragma once

#include <cstdint>

#include "tarvex/database/odbcbinding.h"

class CODBCAccessorBase {
public:
    virtual void BindColumns(void* hStmt) = 0;
    virtual void BindParameters(void* hStmt) = 0;
    virtual bool HasOutputColumns() const = 0;
    virtual bool HasParameters() const = 0;
    virtual ~CODBCAccessorBase() = default;

    // After each successful fetch.
    virtual void GetData(void* hStmt) { (void)hStmt; }
    // When the driver asks for the data of the parameter `token` names.
    virtual void PutParamData(void* hStmt, void* token) {
        (void)hStmt;
        (void)token;
    }
    // When the results are closed.
    virtual void UnbindAll(void* hStmt) { (void)hStmt; }
    // Before binding: the connection the statement runs on.
    virtual void SetConnection(void* hDbc) { (void)hDbc; }

    // SQLBindParameter and SQLBindCol, throwing "Bind Parameter" or "Bind Column".
    static void BindParameter(void* hStmt, short number, short ioType, short cType, short sqlType,
                              std::uint64_t columnSize, short decimalDigits, void* buffer,
                              std::int64_t bufferSize, std::int64_t* indicator);
    static void BindColumn(void* hStmt, short number, short cType, void* buffer,
                           std::int64_t bufferSize, std::int64_t* indicator);
};

class CODBCNoAccessor : public CODBCAccessorBase {
public:
    void BindColumns(void*) override {}
    void BindParameters(void*) override {}
    bool HasOutputColumns() const override { return false; }
    bool HasParameters() const override { return false; }
};

// A record bound field by field: a derived class binds its fields in
// DefineColumns and DefineParameters through CODBCColumnBinder and
// CODBCParamBinder, into `columns` and `parameters`.
class CODBCBindingsAccessor : public CODBCAccessorBase {
public:
    void BindColumns(void* hStmt) override;
    void BindParameters(void* hStmt) override;
    bool HasOutputColumns() const override { return columns.GetLength() > 0; }
    bool HasParameters() const override { return parameters.GetLength() > 0; }
    void GetData(void* hStmt) override { columns.UpdateState(hStmt); }
    void PutParamData(void* hStmt, void* token) override;
    void UnbindAll(void* hStmt) override;
    void SetConnection(void* hDbc) override { parameters.SetConnection(hDbc); }

    CODBCBindings columns;
    CODBCBindings parameters;

protected:
    virtual void DefineColumns(void* hStmt) { (void)hStmt; }
    virtual void DefineParameters(void* hStmt) { (void)hStmt; }
};
