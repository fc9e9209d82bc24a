#include "tarvex/database/odbcexception.h"

#include "tarvex/database/odbc_internal.h"
#include "tarvex/platform/casemap.h"

CODBCException::CODBCException(void* handle, short handleType, const char16_t* context)
    : m_strContext(context) {
    InitErrorMessage(m_strMessage, handle, handleType);
}

CODBCException::CODBCException(const char16_t* message) {
    m_strMessage = message;
}

CODBCException::CODBCException(const char16_t* message, const char16_t* sqlState,
                               std::int32_t nativeError, const char16_t* context)
    : m_nNativeError(nativeError), m_strContext(context) {
    m_strMessage = message;
    SetState(sqlState);
}

void CODBCException::SetState(const char16_t* sqlState) {
    int i = 0;
    for (; sqlState && i < 5 && sqlState[i]; ++i) m_szSqlState[i] = sqlState[i];
    m_szSqlState[i] = 0;
}

bool CODBCException::IsCommunicationLinkFailure() const {
    return _wcsicmp(m_szSqlState, u"08S01") == 0;
}

void CODBCException::InitErrorMessage(CString& out, void* handle, short handleType) {
    // SQLErrorW takes the handle in the slot of its type; the other two stay
    // null. Each call hands out (and removes) the next record.
    SQLHENV env = handleType == SQL_HANDLE_ENV ? handle : SQL_NULL_HENV;
    SQLHDBC dbc = handleType == SQL_HANDLE_DBC ? handle : SQL_NULL_HDBC;
    SQLHSTMT stmt = handleType == SQL_HANDLE_STMT ? handle : SQL_NULL_HSTMT;
    if (handle != nullptr) {
        for (int record = 0;; ++record) {
            SQLWCHAR state[6] = {};
            SQLINTEGER native = 0;
            SQLWCHAR text[1024];
            SQLSMALLINT length = 0;
            SQLRETURN rc = SQLErrorW(env, dbc, stmt, state, &native, text, 1024, &length);
            if (!SqlSucceeded(rc)) break;
            if (length < 0) length = 0;
            if (length > 1023) length = 1023;
            if (record > 0) out += u"\r\n";
            out.Append(text, length);
            out += u" (код возврата ";
            out += state;
            out += u").";
            m_bHasDiagnostics = true;
            SetState(state);
            m_nNativeError = native;
        }
    }
    if (m_strContext.IsEmpty()) return;
    switch (handleType) {
    case SQL_HANDLE_ENV:
        out += u" окружение: ";
        break;
    case SQL_HANDLE_DBC:
        out += u" соединение: ";
        break;
    case SQL_HANDLE_STMT:
        out += u" запрос: ";
        break;
    default:
        out += u" ";
        break;
    }
    out += m_strContext;
}
