// Sessions, statements and exceptions on the SQLite driver.
#include <atomic>
#include <thread>

#include "dbtest.h"

using namespace dbtest;

namespace {

class Session : public SqliteTest {};

TEST_F(Session, EnvironmentIsSharedAndFreedWithTheLastSession) {
    ASSERT_EQ(CODBCSession::GetEnvRefCount(), 0);
    EXPECT_EQ(CODBCSession::GetEnv(false), nullptr);
    {
        CODBCSession first, second;
        first.Open(m_connection, elpSqlServer,
                   CODBCSession::eOpenNoPrompt | CODBCSession::eOpenDriverCursors);
        void* env = CODBCSession::GetEnv(false);
        EXPECT_NE(env, nullptr);
        Open(second);
        EXPECT_EQ(CODBCSession::GetEnv(false), env);
        EXPECT_EQ(CODBCSession::GetEnvRefCount(), 2);
        first.Close(); // the first to open closes first
        EXPECT_EQ(CODBCSession::GetEnv(false), env);
        EXPECT_TRUE(second.IsOpen());
        second.ExecDirect(u"SELECT 1", nullptr);
    }
    EXPECT_EQ(CODBCSession::GetEnv(false), nullptr);
    EXPECT_EQ(CODBCSession::GetEnvRefCount(), 0);
}

TEST_F(Session, EightThreadsOpenAndCloseWithoutLosingTheCount) {
    { // the file must exist before readers race to create it
        CODBCSession session;
        Open(session);
        session.ExecDirect(u"CREATE TABLE t(a INTEGER)", nullptr);
    }
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 25; ++i) {
                try {
                    CODBCSession session;
                    session.Open(m_connection, elpSqlServer,
                                 CODBCSession::eOpenNoPrompt | CODBCSession::eOpenReadOnly);
                    if (!session.IsOpen()) ++failures;
                    session.Close();
                } catch (const CODBCException&) {
                    ++failures;
                }
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(CODBCSession::GetEnvRefCount(), 0);
    EXPECT_EQ(CODBCSession::GetEnv(false), nullptr);
}

TEST_F(Session, ConnectFailureCarriesTheDriverManagerDiagnostics) {
    CODBCSession session;
    try {
        session.Open(u"DSN=NoSuchSource;", elpSqlServer, CODBCSession::eOpenNoPrompt);
        FAIL() << "no exception";
    } catch (const CODBCException& e) {
        EXPECT_STREQ(Narrow(CString(e.GetSQLState())).c_str(), "IM002");
        EXPECT_TRUE(e.HasDiagnostics());
        const std::string message = Narrow(e.GetMessageW());
        const std::string tail = " (код возврата IM002). соединение: SQLDriverConnect";
        ASSERT_GE(message.size(), tail.size());
        EXPECT_EQ(message.substr(message.size() - tail.size()), tail) << message;
    }
    EXPECT_FALSE(session.IsOpen());
    EXPECT_EQ(static_cast<void*>(session), nullptr);
    EXPECT_EQ(CODBCSession::GetEnvRefCount(), 0);
}

TEST_F(Session, WithoutWindowsAPromptIsRefusedAndLeavesNothingOpen) {
    // No window can parent a prompt here, and unixODBC refuses a prompt
    // without one (S1092) before any driver is asked: the cancel a prompt
    // could give never comes.
    CODBCSession session;
    try {
        session.Open(m_connection, elpSqlServer, CODBCSession::eOpenPrompt);
        FAIL() << "no exception";
    } catch (const CODBCException& e) {
        EXPECT_STREQ(Narrow(CString(e.GetSQLState())).c_str(), "S1092");
    }
    EXPECT_FALSE(session.IsOpen());
    EXPECT_EQ(CODBCSession::GetEnvRefCount(), 0);
    // Completing a full connection string needs no prompt.
    session.Open(m_connection, elpSqlServer, 0);
    EXPECT_TRUE(session.IsOpen());
}

TEST_F(Session, BadStatementMessageEndsWithStateAndStatement) {
    CODBCSession session;
    Open(session);
    const char16_t* sql = u"SELEKT * FROM nowhere";
    try {
        session.ExecDirect(sql, nullptr);
        FAIL() << "no exception";
    } catch (const CODBCException& e) {
        const std::string message = Narrow(e.GetMessageW());
        const std::string state = Narrow(CString(e.GetSQLState()));
        EXPECT_EQ(state.size(), 5u);
        const std::string tail = " (код возврата " + state + "). запрос: SELEKT * FROM nowhere";
        ASSERT_GE(message.size(), tail.size());
        EXPECT_EQ(message.substr(message.size() - tail.size()), tail);
        EXPECT_TRUE(e.GetContext() == sql);
        EXPECT_FALSE(e.IsCommunicationLinkFailure());
    }
}

TEST(ODBCException, StateIsCutAndLinkFailureIgnoresCase) {
    CODBCException e(u"связь потеряна", u"08s01xyz", -7, u"SELECT 1");
    EXPECT_STREQ(Narrow(CString(e.GetSQLState())).c_str(), "08s01");
    EXPECT_TRUE(e.IsCommunicationLinkFailure());
    EXPECT_EQ(e.GetNativeError(), -7);
    EXPECT_FALSE(CODBCException(u"x", u"08S02", 0, u"").IsCommunicationLinkFailure());
    // A handle with no records and no context leaves the message as it was.
    CODBCException empty(nullptr, 3, u"");
    EXPECT_TRUE(empty.GetMessageW().IsEmpty());
    EXPECT_FALSE(empty.HasDiagnostics());
}

TEST_F(Session, TransactionsCommitAndRollBack) {
    CODBCSession session;
    Open(session);
    session.ExecDirect(u"CREATE TABLE t(a INTEGER)", nullptr);
    session.StartTransaction(0);
    session.ExecDirect(u"INSERT INTO t VALUES(1)", nullptr);
    session.Abort();
    EXPECT_EQ(Column(session, u"SELECT count(*) FROM t")[0], u"0");

    session.StartTransaction(0);
    std::int64_t rows = -1;
    session.ExecDirect(u"INSERT INTO t VALUES(2)", &rows);
    EXPECT_EQ(rows, 1);
    session.Commit();
    // Autocommit is back: a second session sees a later insert at once.
    session.ExecDirect(u"INSERT INTO t VALUES(3)", nullptr);
    CODBCSession other;
    Open(other);
    EXPECT_EQ(Column(other, u"SELECT group_concat(a) FROM t")[0], u"2,3");
    // An UPDATE that matches nothing is no failure.
    session.ExecDirect(u"UPDATE t SET a = 0 WHERE a = 99", &rows);
    EXPECT_EQ(rows, 0);
}

TEST_F(Session, ClosingInsideATransactionReleasesEverythingThenThrows) {
    {
        CODBCSession session;
        Open(session);
        session.ExecDirect(u"CREATE TABLE t(a INTEGER)", nullptr);
        session.StartTransaction(0);
        session.ExecDirect(u"INSERT INTO t VALUES(1)", nullptr);
        // SQLite refuses to disconnect with the transaction open.
        try {
            session.Close();
            FAIL() << "no exception";
        } catch (const CODBCException& e) {
            EXPECT_STREQ(Narrow(CString(e.GetSQLState())).c_str(), "25000");
        }
        EXPECT_FALSE(session.IsOpen());
        EXPECT_EQ(static_cast<void*>(session), nullptr);
        EXPECT_EQ(CODBCSession::GetEnvRefCount(), 0);

        // The destructor swallows the same failure.
        CODBCSession again;
        Open(again);
        again.StartTransaction(0);
        again.ExecDirect(u"INSERT INTO t VALUES(2)", nullptr);
    }
    EXPECT_EQ(CODBCSession::GetEnvRefCount(), 0);
    CODBCSession check;
    Open(check);
    EXPECT_EQ(Column(check, u"SELECT count(*) FROM t")[0], u"0"); // both rolled back
}

TEST_F(Session, IsDeadAsEachPlatformAsksIt) {
    CODBCSession none;
    EXPECT_TRUE(none.IsDead()); // no handle: no ODBC call at all
    // Calls on a session without a connection fail cleanly.
    EXPECT_THROW(none.ExecDirect(u"SELECT 1", nullptr), CODBCException);
    EXPECT_THROW(none.StartTransaction(0), CODBCException);
    EXPECT_THROW(none.Commit(), CODBCException);

    CODBCSession sqlServerWay;
    Open(sqlServerWay, elpSqlServer);
    // The SQLite driver refuses attribute 1244 (S1C00): taken as dead.
    EXPECT_TRUE(sqlServerWay.IsDead());

    CODBCSession postgresWay;
    DB_RUN(Open(postgresWay, elpPostgreSQL));
    // "set pelvar..." is no SQLite statement: dead as well, and nothing escapes.
    EXPECT_TRUE(postgresWay.IsDead());
    EXPECT_FALSE(postgresWay.MustPrepareParametric()); // not the PostgreSQL driver
}

TEST_F(Session, BrowseNeedsAClosedSessionAndMicrosoftsDriver) {
    CSortedIndirectArray<CString> names;
    CODBCSession open;
    Open(open);
    try {
        open.GetDatabases(names, m_connection);
        FAIL() << "no exception";
    } catch (const CODBCException& e) {
        EXPECT_TRUE(e.GetMessageW() == u"Для вызова GetDatabases соединение должно быть закрыто.");
    }
    try {
        open.GetServers(names, u"SQLite3");
        FAIL() << "no exception";
    } catch (const CODBCException& e) {
        EXPECT_TRUE(e.GetMessageW() == u"Для вызова GetServers соединение должно быть закрыто.");
    }
    open.Close();

    // The driver manager keeps Microsoft's attributes for the driver, and the
    // SQLite driver has no browse (IM001): the attempt throws, leaves nothing.
    CODBCSession closed;
    for (int call = 0; call < 2; ++call) {
        try {
            if (call == 0)
                closed.GetDatabases(names, m_connection);
            else
                closed.GetServers(names, u"SQLite3");
            FAIL() << "no exception";
        } catch (const CODBCException& e) {
            EXPECT_STREQ(Narrow(CString(e.GetSQLState())).c_str(), "IM001");
            EXPECT_TRUE(e.GetContext() == u"SQLBrowseConnect");
        }
        EXPECT_EQ(static_cast<void*>(closed), nullptr);
    }
    EXPECT_EQ(CODBCSession::GetEnvRefCount(), 0);
    EXPECT_EQ(names.GetLength(), 0);
}

TEST(BrowseAnswer, ListsAreSortedWithoutRepeatsAndNeedAllThreeMarks) {
    CSortedIndirectArray<CString> names;
    CODBCSession::ParseDatabasesList(names, u"DATABASE:Database={c,a,b,a};");
    ASSERT_EQ(names.GetLength(), 3);
    EXPECT_EQ(*names[0], u"a");
    EXPECT_EQ(*names[1], u"b");
    EXPECT_EQ(*names[2], u"c");

    CSortedIndirectArray<CString> none;
    CODBCSession::ParseDatabasesList(none, u"DATABASE:Database={a,b;");
    CODBCSession::ParseDatabasesList(none, u"DATABASE:Database=a,b};");
    CODBCSession::ParseDatabasesList(none, u"Server={a,b};");
    EXPECT_EQ(none.GetLength(), 0);

    CSortedIndirectArray<CString> instances;
    CODBCSession::GetServerInstancesFromConnectionString(
        instances, u"SERVER:Server={HOST\\SQL;x,ALPHA;y,HOST\\SQL;z};UID:Login ID=?;");
    ASSERT_EQ(instances.GetLength(), 2);
    EXPECT_EQ(*instances[0], u"ALPHA");
    EXPECT_EQ(*instances[1], u"HOST\\SQL");
}

TEST_F(Session, StatementDrainsOpenResultsBeforeTheNextText) {
    CODBCSession session;
    Open(session);
    CODBCDynamicCommand command;
    command.Open(session, u"SELECT 1 UNION ALL SELECT 2");
    ASSERT_TRUE(command.MoveNext());
    EXPECT_EQ(command.GetString(1), u"1");
    // Reopened with a row still pending: the old cursor is closed first.
    command.Open(session, u"SELECT 'x'");
    ASSERT_TRUE(command.MoveNext());
    EXPECT_EQ(command.GetString(1), u"x");
    EXPECT_FALSE(command.MoveNext());
    command.Close();
    EXPECT_EQ(command.GetHandle(), nullptr);
}

} // namespace
