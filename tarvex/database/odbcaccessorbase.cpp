#include "tarvex/database/odbcaccessorbase.h"

#include "tarvex/database/odbc_internal.h"
#include "tarvex/database/odbcexception.h"

void CODBCAccessorBase::BindParameter(void* hStmt, short number, short ioType, short cType,
                                      short sqlType, std::uint64_t columnSize, short decimalDigits,
                                      void* buffer, std::int64_t bufferSize,
                                      std::int64_t* indicator) {
    static_assert(sizeof(SQLLEN) == sizeof(std::int64_t));
    const SQLRETURN rc =
        SQLBindParameter(hStmt, number, ioType, cType, sqlType, columnSize, decimalDigits, buffer,
                         bufferSize, reinterpret_cast<SQLLEN*>(indicator));
    if (!SqlSucceeded(rc)) throw CODBCException(hStmt, SQL_HANDLE_STMT, u"Bind Parameter");
}

void CODBCAccessorBase::BindColumn(void* hStmt, short number, short cType, void* buffer,
                                   std::int64_t bufferSize, std::int64_t* indicator) {
    const SQLRETURN rc =
        SQLBindCol(hStmt, number, cType, buffer, bufferSize, reinterpret_cast<SQLLEN*>(indicator));
    if (!SqlSucceeded(rc)) throw CODBCException(hStmt, SQL_HANDLE_STMT, u"Bind Column");
}

void CODBCBindingsAccessor::BindColumns(void* hStmt) {
    if (columns.GetLength() == 0) DefineColumns(hStmt);
}

void CODBCBindingsAccessor::BindParameters(void* hStmt) {
    if (parameters.GetLength() == 0) DefineParameters(hStmt);
    parameters.UpdateParamState(hStmt);
}

void CODBCBindingsAccessor::PutParamData(void* hStmt, void* token) {
    parameters.GetParamData(hStmt, token);
}

void CODBCBindingsAccessor::UnbindAll(void* hStmt) {
    if (hStmt == nullptr) return;
    if (parameters.GetLength() > 0) CODBCBinder::ResetParams(hStmt);
    if (columns.GetLength() > 0) CODBCBinder::UnbindColumns(hStmt);
    parameters.Flush();
    columns.Flush();
}
