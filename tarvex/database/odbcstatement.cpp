#include "tarvex/database/odbcstatement.h"

#include "tarvex/database/odbc_internal.h"
#include "tarvex/database/odbcexception.h"
#include "tarvex/database/odbcsession.h"

CODBCStatement::CODBCStatement(const CODBCStatement& other) : CTarvexObject(), text(other.text) {}

CODBCStatement& CODBCStatement::operator=(const CODBCStatement& other) {
    if (this != &other) text = other.text;
    return *this;
}

CODBCStatement::~CODBCStatement() {
    if (m_hStmt != nullptr) SQLFreeHandle(SQL_HANDLE_STMT, m_hStmt);
}

// Any code but success, success-with-info, need-data and no-data is a
// failure, SQL_INVALID_HANDLE included: it carries no diagnostics, but
// taking it for success would go on with a dead handle.
void CODBCStatement::ThrowIfFailed(short rc, const char16_t* context) const {
    if (SqlSucceeded(rc) || rc == SQL_NEED_DATA || rc == SQL_NO_DATA) return;
    throw CODBCException(m_hStmt, SQL_HANDLE_STMT, context);
}

void CODBCStatement::Create(const CODBCSession& session, const char16_t* sql) {
    if (m_hStmt == nullptr) {
        SQLHSTMT stmt = SQL_NULL_HSTMT;
        if (!SqlSucceeded(SQLAllocStmt(static_cast<void*>(session), &stmt)))
            throw CODBCException(static_cast<void*>(session), SQL_HANDLE_DBC, sql);
        m_hStmt = stmt;
    } else {
        AssertIsClosed();
    }
    text = sql;
    prepared = false;
}

void CODBCStatement::AssertIsClosed() {
    if (!hasResults) return;
    while (SQLMoreResults(m_hStmt) == SQL_SUCCESS) {
    }
    // Some drivers keep the cursor of the last result open after the drain.
    SQLFreeStmt(m_hStmt, SQL_CLOSE);
    OnResultsClosed();
    hasResults = false;
}

void CODBCStatement::Prepare() {
    const short rc = SQLPrepareW(m_hStmt, text.GetBuffer(), SQL_NTS);
    text.ReleaseBuffer();
    ThrowIfFailed(rc, text);
    prepared = true;
}

short CODBCStatement::ExecDirectSimple() {
    const short rc = SQLExecDirectW(m_hStmt, text.GetBuffer(), SQL_NTS);
    text.ReleaseBuffer();
    return rc;
}

void CODBCStatement::ExecDirect(std::int64_t* rowCount) {
    short rc = ExecDirectSimple();
    ThrowIfFailed(rc, text);
    if (rc == SQL_NEED_DATA) rc = GetParamData();
    hasResults = rc != SQL_NEED_DATA;
    Finish(rc, rowCount);
}

void CODBCStatement::Exec(std::int64_t* rowCount) {
    short rc = SQLExecute(m_hStmt);
    ThrowIfFailed(rc, text);
    if (rc == SQL_NEED_DATA) rc = GetParamData();
    hasResults = true;
    Finish(rc, rowCount);
}

void CODBCStatement::Finish(short rc, std::int64_t* rowCount) {
    ThrowIfFailed(rc, text);
    if (rowCount != nullptr) {
        SQLLEN count = 0;
        ThrowIfFailed(SQLRowCount(m_hStmt, &count), text);
        *rowCount = count;
    }
}

short CODBCStatement::GetParamData() {
    SQLPOINTER token = nullptr;
    short rc = SQLParamData(m_hStmt, &token);
    while (rc == SQL_NEED_DATA) {
        OnParamData(token);
        rc = SQLParamData(m_hStmt, &token);
    }
    return rc;
}

void CODBCStatement::GetTypeInfo(short sqlType) {
    ThrowIfFailed(SQLGetTypeInfoW(m_hStmt, sqlType), u"SQLGetTypeInfo");
    hasResults = true;
}

bool CODBCStatement::FetchNext() {
    return FetchRow() != eFetchEnd;
}

CODBCStatement::EFetch CODBCStatement::FetchRow() {
    const SQLRETURN rc = SQLFetch(m_hStmt);
    if (rc == SQL_SUCCESS) return eFetchRow;
    if (rc == SQL_SUCCESS_WITH_INFO) return eFetchRowWithInfo;
    if (rc == SQL_NO_DATA) return eFetchEnd;
    throw CODBCException(m_hStmt, SQL_HANDLE_STMT, text);
}

bool CODBCStatement::MoreResults() {
    const short rc = SQLMoreResults(m_hStmt);
    ThrowIfFailed(rc, text);
    return rc == SQL_SUCCESS;
}

void CODBCStatement::DescribeParam(short number, short& sqlType, std::uint64_t& size,
                                   short& decimalDigits, short& nullable) {
    SQLULEN columnSize = 0;
    ThrowIfFailed(
        SQLDescribeParam(m_hStmt, number, &sqlType, &columnSize, &decimalDigits, &nullable),
        u"SQLDescribeParam");
    size = columnSize;
}

void CODBCStatement::CloseRowset() {
    if (!hasResults) return;
    ThrowIfFailed(SQLFreeStmt(m_hStmt, SQL_CLOSE), u"SQLFreeStmt(SQL_CLOSE)");
    hasResults = false;
}

void CODBCStatement::Close() {
    if (m_hStmt == nullptr) return;
    const short rc = SQLFreeHandle(SQL_HANDLE_STMT, m_hStmt);
    if (!SqlSucceeded(rc)) throw CODBCException(m_hStmt, SQL_HANDLE_STMT, u"SQLFreeHandle");
    m_hStmt = nullptr;
    hasResults = false;
    prepared = false;
}
