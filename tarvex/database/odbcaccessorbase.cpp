#include "tarvex/database/odbcaccessorbase.h"

#include <type_traits>

#include "tarvex/database/odbc_internal.h"
#include "tarvex/database/odbcexception.h"

static_assert(std::is_same_v<SQLLEN, std::int64_t>, "indicators pass to ODBC as they are");

void CODBCAccessorBase::BindParameter(void* hStmt, short number, short ioType, short cType,
                                      short sqlType, std::uint64_t columnSize, short decimalDigits,
                                      void* buffer, std::int64_t bufferSize,
                                      std::int64_t* indicator) {
    const SQLRETURN rc = SQLBindParameter(hStmt, number, ioType, cType, sqlType, columnSize,
                                          decimalDigits, buffer, bufferSize, indicator);
    if (!SqlSucceeded(rc)) throw CODBCException(hStmt, SQL_HANDLE_STMT, u"Bind Parameter");
}

void CODBCAccessorBase::BindColumn(void* hStmt, short number, short cType, void* buffer,
                                   std::int64_t bufferSize, std::int64_t* indicator) {
    const SQLRETURN rc = SQLBindCol(hStmt, number, cType, buffer, bufferSize, indicator);
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
