#include "tarvex/database/odbcsession.h"

#include <optional>

#include "tarvex/core/lock.h"
#include "tarvex/database/odbc_internal.h"
#include "tarvex/database/odbccommand.h"
#include "tarvex/database/odbcexception.h"

namespace {

// The one environment of the process and the count of its users. The
// section is ready before any dynamic initialiser runs.
constinit CRITICAL_SECTION g_envSection;
SQLHENV g_hEnv = SQL_NULL_HENV;
std::int64_t g_nConnectionsAllocated = 0;

// Adds the items of the first "KEY...={a,b,c}" list in `text` to `out`,
// sorted and without repeats; with `cutAtSemicolon` each item ends at ";".
void ExtractList(CSortedIndirectArray<CString>& out, const char16_t* text, const char16_t* key,
                 bool cutAtSemicolon) {
    const CString answer(text);
    const int keyAt = answer.Find(key);
    if (keyAt < 0) return;
    const int open = answer.Find(u"={", keyAt);
    if (open < 0) return;
    const int close = answer.Find(u'}', open + 2);
    if (close < 0) return;
    const CString list = answer.Mid(open + 2, close - open - 2);
    int start = 0;
    while (start <= list.GetLength()) {
        int comma = list.Find(u',', start);
        if (comma < 0) comma = list.GetLength();
        CString item = list.Mid(start, comma - start);
        if (cutAtSemicolon) {
            const int semicolon = item.Find(u';');
            if (semicolon >= 0) item = item.Left(semicolon);
        }
        if (out.Find(item) < 0) out.Add(new CString(item));
        start = comma + 1;
    }
}

} // namespace

CODBCSession::CODBCSession(const CODBCSession&) : CTarvexObject() {
    throw CODBCException(u"Запрет копирования сессии.");
}

CODBCSession& CODBCSession::operator=(const CODBCSession&) {
    throw CODBCException(u"Запрет копирования сессии.");
}

CODBCSession::~CODBCSession() {
    try {
        Close();
    } catch (...) { // a destructor must not throw; Close released all it held
    }
}

void* CODBCSession::GetEnv(bool addRef) {
    CKVLock lock(g_envSection);
    if (!addRef) return g_nConnectionsAllocated > 0 ? g_hEnv : nullptr;
    if (g_nConnectionsAllocated <= 0 || g_hEnv == SQL_NULL_HENV) {
        SQLHENV env = SQL_NULL_HENV;
        if (!SqlSucceeded(SQLAllocEnv(&env)))
            throw CODBCException(env, SQL_HANDLE_ENV, u"Ошибка инициализации среды ODBC");
        g_hEnv = env;
        g_nConnectionsAllocated = 0;
    }
    ++g_nConnectionsAllocated;
    return g_hEnv;
}

void CODBCSession::ReleaseEnv() {
    CKVLock lock(g_envSection);
    if (--g_nConnectionsAllocated <= 0) {
        if (g_hEnv != SQL_NULL_HENV) SQLFreeEnv(g_hEnv);
        g_hEnv = SQL_NULL_HENV;
        g_nConnectionsAllocated = 0;
    }
}

std::int64_t CODBCSession::GetEnvRefCount() {
    CKVLock lock(g_envSection);
    return g_nConnectionsAllocated;
}

void CODBCSession::AllocateConnection() {
    SQLHENV env = GetEnv(true);
    SQLHDBC dbc = SQL_NULL_HDBC;
    if (!SqlSucceeded(SQLAllocConnect(env, &dbc))) {
        // Read the diagnostics before the environment may go away with them.
        CODBCException failure(env, SQL_HANDLE_ENV, u"SQLAllocConnect");
        ReleaseEnv();
        throw failure;
    }
    m_hDbc = dbc;
}

void CODBCSession::SetAttribute(std::int32_t attribute, void* value, std::int32_t length,
                                const char16_t* context) {
    if (!SqlSucceeded(SQLSetConnectAttrW(m_hDbc, attribute, value, length)))
        throw CODBCException(m_hDbc, SQL_HANDLE_DBC, context);
}

void CODBCSession::Open(const char16_t* connectionString, ELibPlatform platform,
                        unsigned long flags) {
    if (isOpen || m_hDbc != nullptr) Close();

    const CString text(connectionString);
    this->platform = platform;
    prepareParametric = platform == elpPostgreSQL && text.Find(u"DRIVER={PostgreSQL Unicode}") >= 0;
    allowWrite = (flags & eOpenReadOnly) == 0;
    driverCursors = false;

    AllocateConnection();
    try {
        SetAttribute(SQL_ATTR_LOGIN_TIMEOUT, reinterpret_cast<SQLPOINTER>(SQLLEN(loginTimeout)),
                     SQL_IS_UINTEGER, u"SQL_ATTR_LOGIN_TIMEOUT");
        if (!allowWrite)
            SetAttribute(SQL_ATTR_ACCESS_MODE, reinterpret_cast<SQLPOINTER>(SQL_MODE_READ_ONLY),
                         SQL_IS_UINTEGER, u"SQL_ATTR_ACCESS_MODE");
        if (flags & eOpenDriverCursors) {
            SetAttribute(SQL_ATTR_ODBC_CURSORS, reinterpret_cast<SQLPOINTER>(SQL_CUR_USE_DRIVER),
                         SQL_IS_UINTEGER, u"SQL_ATTR_ODBC_CURSORS");
            driverCursors = true;
        }
        Connect(text, flags);
    } catch (...) {
        try {
            Close();
        } catch (...) { // the first failure is the one to report
        }
        throw;
    }
}

void CODBCSession::Connect(const char16_t* connectionString, unsigned long flags) {
    // There are no windows to parent a prompt: the window stays null in every
    // mode (the SQLite driver refuses any other value), and the driver
    // manager decides what a prompt without one does.
    SQLUSMALLINT completion = SQL_DRIVER_COMPLETE;
    if (flags & eOpenNoPrompt)
        completion = SQL_DRIVER_NOPROMPT;
    else if (flags & eOpenPrompt)
        completion = SQL_DRIVER_PROMPT;
    CString input(connectionString);
    SQLWCHAR output[1024];
    SQLSMALLINT outputLength = 0;
    const SQLRETURN rc = SQLDriverConnectW(m_hDbc, nullptr, input.GetBuffer(), SQL_NTS, output,
                                           1024, &outputLength, completion);
    input.ReleaseBuffer();
    if (rc == SQL_NO_DATA) return; // the user cancelled the prompt
    if (!SqlSucceeded(rc)) throw CODBCException(m_hDbc, SQL_HANDLE_DBC, u"SQLDriverConnect");
    // Through the attribute call: the driver manager does not carry the old
    // wide option call to drivers that lack wide entry points (SQLite's).
    if (platform == elpPostgreSQL)
        SetAttribute(SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON),
                     SQL_IS_UINTEGER, u"SQL_ATTR_AUTOCOMMIT");
    isOpen = true;
}

void CODBCSession::Close() {
    if (m_hDbc == nullptr) return;
    std::optional<CODBCException> failure;
    if (isOpen && !SqlSucceeded(SQLDisconnect(m_hDbc))) {
        failure.emplace(m_hDbc, SQL_HANDLE_DBC, u"SQLDisconnect");
        // Some drivers refuse to disconnect inside a transaction. Roll it back
        // so the handle can still be freed; the refusal is what is reported.
        SQLEndTran(SQL_HANDLE_DBC, m_hDbc, SQL_ROLLBACK);
        SQLDisconnect(m_hDbc);
    }
    isOpen = false;
    if (!SqlSucceeded(SQLFreeHandle(SQL_HANDLE_DBC, m_hDbc)) && !failure)
        failure.emplace(m_hDbc, SQL_HANDLE_DBC, u"SQLFreeHandle");
    m_hDbc = nullptr;
    ReleaseEnv();
    if (failure) throw *failure;
}

bool CODBCSession::IsDead() const {
    if (m_hDbc == nullptr) return true;
    if (platform == elpPostgreSQL) {
        try {
            ExecDirect(u"set pelvar.check_connection=1", nullptr);
            return false;
        } catch (const CKVException&) {
            return true;
        }
    }
    SQLUINTEGER dead = 0;
    if (!SqlSucceeded(SQLGetConnectAttrW(m_hDbc, SQL_COPT_SS_CONNECTION_DEAD, &dead,
                                         SQL_IS_UINTEGER, nullptr)))
        return true;
    return dead == 1;
}

void CODBCSession::StartTransaction(std::int32_t isolation) {
    SetAttribute(SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_OFF),
                 SQL_IS_UINTEGER, u"SQL_ATTR_AUTOCOMMIT");
    if (isolation != 0)
        SetAttribute(SQL_ATTR_TXN_ISOLATION, reinterpret_cast<SQLPOINTER>(SQLLEN(isolation)),
                     SQL_IS_UINTEGER, u"SQL_ATTR_TXN_ISOLATION");
}

void CODBCSession::Commit() {
    if (!SqlSucceeded(SQLEndTran(SQL_HANDLE_DBC, m_hDbc, SQL_COMMIT)))
        throw CODBCException(m_hDbc, SQL_HANDLE_DBC, u"SQLEndTran(SQL_COMMIT)");
    SetAttribute(SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON),
                 SQL_IS_UINTEGER, u"SQL_ATTR_AUTOCOMMIT");
}

void CODBCSession::Abort() {
    if (!SqlSucceeded(SQLEndTran(SQL_HANDLE_DBC, m_hDbc, SQL_ROLLBACK)))
        throw CODBCException(m_hDbc, SQL_HANDLE_DBC, u"SQLEndTran(SQL_ROLLBACK)");
    SetAttribute(SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON),
                 SQL_IS_UINTEGER, u"SQL_ATTR_AUTOCOMMIT");
}

void CODBCSession::ExecDirect(const char16_t* sql, std::int64_t* rowCount) const {
    CODBCStatement statement;
    statement.Create(*this, sql);
    statement.ExecDirect(rowCount);
}

void CODBCSession::ParseDatabasesList(CSortedIndirectArray<CString>& out, const char16_t* text) {
    ExtractDBList(out, text);
}

void CODBCSession::ExtractDBList(CSortedIndirectArray<CString>& out, const char16_t* text) {
    ExtractList(out, text, u"DATABASE", false);
}

void CODBCSession::ExtractServerList(CSortedIndirectArray<CString>& out, const char16_t* text) {
    ExtractList(out, text, u"SERVER", false);
}

void CODBCSession::GetServersFromConnectionString(CSortedIndirectArray<CString>& out,
                                                  const char16_t* text) {
    ExtractList(out, text, u"SERVER", false);
}

void CODBCSession::GetServerInstancesFromConnectionString(CSortedIndirectArray<CString>& out,
                                                          const char16_t* text) {
    ExtractList(out, text, u"SERVER", true);
}

void CODBCSession::PrepareBrowse(int connectionTimeout) {
    SetAttribute(SQL_ATTR_LOGIN_TIMEOUT, reinterpret_cast<SQLPOINTER>(20), SQL_IS_UINTEGER,
                 u"SQL_ATTR_LOGIN_TIMEOUT");
    SetAttribute(SQL_ATTR_CONNECTION_TIMEOUT,
                 reinterpret_cast<SQLPOINTER>(static_cast<std::intptr_t>(connectionTimeout)),
                 SQL_IS_UINTEGER, u"SQL_ATTR_CONNECTION_TIMEOUT");
    SetAttribute(SQL_COPT_SS_BROWSE_CONNECT, reinterpret_cast<SQLPOINTER>(0), SQL_IS_UINTEGER,
                 u"SQL_COPT_SS_BROWSE_CONNECT");
    SetAttribute(SQL_COPT_SS_BROWSE_SERVER, nullptr, SQL_IS_POINTER, u"SQL_COPT_SS_BROWSE_SERVER");
    SetAttribute(SQL_COPT_SS_BROWSE_CACHE_DATA, reinterpret_cast<SQLPOINTER>(1), SQL_IS_UINTEGER,
                 u"SQL_COPT_SS_BROWSE_CACHE_DATA");
}

std::int16_t CODBCSession::BrowseConnect(const CString& connectionText, CString& answer,
                                         int capacity) {
    CString input(connectionText);
    SQLSMALLINT length = 0;
    char16_t* buffer = answer.GetBuffer(capacity);
    buffer[0] = 0;
    const SQLRETURN rc = SQLBrowseConnectW(m_hDbc, input.GetBuffer(), SQL_NTS, buffer,
                                           static_cast<SQLSMALLINT>(capacity), &length);
    input.ReleaseBuffer();
    answer.ReleaseBuffer();
    return rc;
}

void CODBCSession::GetDatabases(CSortedIndirectArray<CString>& out, CString& connectionString) {
    if (isOpen || m_hDbc != nullptr)
        throw CODBCException(u"Для вызова GetDatabases соединение должно быть закрыто.");
    AllocateConnection();
    try {
        PrepareBrowse(90);
        CString answer;
        const SQLRETURN rc = BrowseConnect(connectionString, answer, 16384);
        if (rc == SQL_NEED_DATA) {
            isOpen = true;
            CODBCException pending(m_hDbc, SQL_HANDLE_DBC, u"SQLBrowseConnect");
            if (pending.HasDiagnostics()) throw pending;
        } else if (!SqlSucceeded(rc)) {
            throw CODBCException(m_hDbc, SQL_HANDLE_DBC, u"SQLBrowseConnect");
        }
        isOpen = true;
        ParseDatabasesList(out, answer);
    } catch (...) {
        // Drivers other than Microsoft's refuse the browse attributes: leave
        // no handle behind and the environment count as it was.
        try {
            Close();
        } catch (...) {
        }
        throw;
    }
}

void CODBCSession::AppendServerInstances(const CString& server, const CString& connectionText,
                                         CSortedIndirectArray<CString>& out) {
    CString name(server);
    SetAttribute(SQL_COPT_SS_BROWSE_SERVER, name.GetBuffer(), SQL_NTS,
                 u"SQL_COPT_SS_BROWSE_SERVER");
    name.ReleaseBuffer();
    SetAttribute(SQL_COPT_SS_BROWSE_CONNECT, reinterpret_cast<SQLPOINTER>(1), SQL_IS_UINTEGER,
                 u"SQL_COPT_SS_BROWSE_CONNECT");
    CString answer;
    const SQLRETURN rc = BrowseConnect(connectionText, answer, 8192);
    if (rc != SQL_NEED_DATA && !SqlSucceeded(rc))
        throw CODBCException(m_hDbc, SQL_HANDLE_DBC, u"SQLBrowseConnect");
    SQLDisconnect(m_hDbc);
    GetServerInstancesFromConnectionString(out, answer);
}

void CODBCSession::GetServers(CSortedIndirectArray<CString>& out, const char16_t* driverName) {
    if (isOpen || m_hDbc != nullptr)
        throw CODBCException(u"Для вызова GetServers соединение должно быть закрыто.");
    CString connectionText;
    connectionText.Format(u"DRIVER={%s};", driverName ? driverName : u"");
    AllocateConnection();
    try {
        PrepareBrowse(20);
        CString answer;
        const SQLRETURN rc = BrowseConnect(connectionText, answer, 16384);
        if (rc != SQL_NEED_DATA && !SqlSucceeded(rc))
            throw CODBCException(m_hDbc, SQL_HANDLE_DBC, u"SQLBrowseConnect");
        isOpen = true;
        CSortedIndirectArray<CString> servers;
        GetServersFromConnectionString(servers, answer);
        SQLDisconnect(m_hDbc);
        isOpen = false;
        for (int64_t i = 0; i < servers.GetLength(); ++i)
            AppendServerInstances(*servers[i], connectionText, out);
    } catch (...) {
        try {
            Close();
        } catch (...) {
        }
        throw;
    }
}

void CODBCSession::GetDatabasesPG(CSortedIndirectArray<CString>& out, CString& connectionString) {
    // Open alone allocates: a separate allocation first would be counted
    // twice and lose the first connection handle.
    if (!isOpen && m_hDbc == nullptr) Open(connectionString, elpPostgreSQL, eOpenNoPrompt);
    CODBCDynamicCommand command;
    command.Open(*this, u"SELECT datname FROM pg_database WHERE datname NOT IN ('postgres', "
                        u"'template0', 'template1') ORDER BY datname");
    while (command.MoveNext()) {
        CString name = command.GetString(1);
        if (out.Find(name) < 0) out.Add(new CString(name));
    }
    command.Close();
}
