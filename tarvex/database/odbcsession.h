// CODBCSession: one connection to a database through the ODBC driver
// manager, with its transactions. All sessions share one ODBC environment,
// counted under a critical section.
#pragma once

#include <cstdint>

#include "tarvex/core/object.h"
#include "tarvex/core/sortedarray.h"
#include "tarvex/platform/cstring.h"

// The server behind a session. PostgreSQL is 2; every other value is taken
// for Microsoft SQL Server or a driver that behaves like it.
enum ELibPlatform : std::int32_t {
    elpSqlServer = 1,
    elpPostgreSQL = 2,
};

class CODBCSession : public CTarvexObject {
public:
    // Bits of Open's `flags`.
    enum : unsigned long {
        eOpenReadOnly = 2,
        eOpenDriverCursors = 4,
        eOpenNoPrompt = 8,
        eOpenPrompt = 16,
    };

    CODBCSession() = default;
    ~CODBCSession() override; // closes, and swallows what Close throws

    // Closes an open connection first. A user's cancel of the driver's prompt
    // leaves the session closed and throws nothing.
    void Open(const char16_t* connectionString, ELibPlatform platform, unsigned long flags);
    bool IsOpen() const { return isOpen; }
    // Asks whether the link is gone; never throws. No reconnect is tried.
    bool IsDead() const;
    // Releases everything first, then throws the first failure, if any.
    void Close();

    // Manual commit mode; `isolation` 0 leaves the level as it is.
    void StartTransaction(std::int32_t isolation);
    void Commit();
    void Abort();

    // One statement on a temporary handle; `rowCount` may be null.
    void ExecDirect(const char16_t* sql, std::int64_t* rowCount) const;

    // The database names of a SQL Server, by the browse attributes of
    // Microsoft's driver. The session must be closed; the caller closes it.
    void GetDatabases(CSortedIndirectArray<CString>& out, CString& connectionString);
    // The database names of a PostgreSQL server, less the system ones.
    void GetDatabasesPG(CSortedIndirectArray<CString>& out, CString& connectionString);
    // The SQL Server instances the driver can see.
    void GetServers(CSortedIndirectArray<CString>& out, const char16_t* driverName);

    // The lists inside a browse answer: "DATABASE...={a,b}" and "SERVER...={x,y}".
    static void ParseDatabasesList(CSortedIndirectArray<CString>& out, const char16_t* text);
    static void ExtractDBList(CSortedIndirectArray<CString>& out, const char16_t* text);
    static void ExtractServerList(CSortedIndirectArray<CString>& out, const char16_t* text);
    static void GetServersFromConnectionString(CSortedIndirectArray<CString>& out,
                                               const char16_t* text);
    // As ExtractServerList, each item cut at its first ";".
    static void GetServerInstancesFromConnectionString(CSortedIndirectArray<CString>& out,
                                                       const char16_t* text);

    ELibPlatform GetPlatform() const { return platform; }
    bool MustPrepareParametric() const { return prepareParametric; }
    void SetLoginTimeout(int seconds) { loginTimeout = seconds; }

    operator void*() const { return m_hDbc; }
    static short GetHandleType() { return 2; }
    static const char16_t* GetTextData() { return u""; }

    // The shared environment. GetEnv(false) answers null while no session
    // holds it; GetEnv(true) makes it when needed and counts one more user.
    static void* GetEnv(bool addRef);
    static void ReleaseEnv();
    // How many users hold the environment now.
    static std::int64_t GetEnvRefCount();

private:
    CODBCSession(const CODBCSession&);
    CODBCSession& operator=(const CODBCSession&);

    void AllocateConnection();
    void Connect(const char16_t* connectionString, unsigned long flags);
    void SetAttribute(std::int32_t attribute, void* value, std::int32_t length,
                      const char16_t* context);
    void AppendServerInstances(const CString& server, const CString& connectionText,
                               CSortedIndirectArray<CString>& out);
    // The SQL Server browse attributes that GetDatabases and GetServers set.
    void PrepareBrowse(int connectionTimeout);
    // One SQLBrowseConnectW into `answer` of at most `capacity` units; the
    // driver's return code.
    std::int16_t BrowseConnect(const CString& connectionText, CString& answer, int capacity);

    void* m_hDbc = nullptr;
    bool isOpen = false;
    bool allowWrite = true;
    bool driverCursors = false;
    bool prepareParametric = false;
    std::int32_t loginTimeout = 30;
    ELibPlatform platform = elpSqlServer;
};
