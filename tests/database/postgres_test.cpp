// The same classes against a real PostgreSQL 15 server through psqlODBC.
#include "dbtest.h"

using namespace dbtest;

namespace {

class Postgres : public PgTest {
protected:
    void SetUp() override {
        PgTest::SetUp();
        if (HasFatalFailure()) return;
        Open(session);
    }
    CODBCSession session;
};

TEST_F(Postgres, ConnectionCheckAndALostConnection) {
    EXPECT_TRUE(session.MustPrepareParametric());
    EXPECT_FALSE(session.IsDead());
    const CString pid = Column(session, u"SELECT pg_backend_pid()")[0];

    CODBCSession killer;
    Open(killer);
    CString sql;
    sql.Format(u"SELECT pg_terminate_backend(%s)", pid.GetString());
    EXPECT_EQ(Column(killer, sql)[0], u"1");

    EXPECT_TRUE(session.IsDead()); // the check's own failure does not escape
    try {
        session.ExecDirect(u"SELECT 1", nullptr);
        FAIL() << "no exception";
    } catch (const CODBCException& e) {
        EXPECT_TRUE(e.IsCommunicationLinkFailure())
            << Narrow(CString(e.GetSQLState())) << " " << Narrow(e.GetMessageW());
    }
    session.Close();
    killer.Close();
    EXPECT_EQ(CODBCSession::GetEnvRefCount(), 0);

    // Other platforms ask the driver for attribute 1244, which psqlODBC lacks.
    CODBCSession other;
    Open(other, elpSqlServer);
    EXPECT_FALSE(other.MustPrepareParametric());
    EXPECT_TRUE(other.IsDead());
}

TEST_F(Postgres, TransactionsAndClosingInsideOne) {
    session.ExecDirect(u"CREATE TABLE t(a integer)", nullptr);
    session.StartTransaction(0);
    session.ExecDirect(u"INSERT INTO t VALUES(1)", nullptr);
    session.Abort();
    session.StartTransaction(8); // SQL_TXN_SERIALIZABLE
    session.ExecDirect(u"INSERT INTO t VALUES(2)", nullptr);
    EXPECT_EQ(Column(session, u"SHOW transaction_isolation")[0], u"serializable");
    session.Commit();
    EXPECT_EQ(Column(session, u"SELECT string_agg(a::text, ',') FROM t")[0], u"2");

    // psqlODBC rolls an open transaction back on disconnect, without a word.
    session.StartTransaction(0);
    session.ExecDirect(u"INSERT INTO t VALUES(3)", nullptr);
    session.Close();
    EXPECT_EQ(CODBCSession::GetEnvRefCount(), 0);
    Open(session);
    EXPECT_EQ(Column(session, u"SELECT count(*) FROM t")[0], u"1");
}

TEST_F(Postgres, CyrillicLongTextAndBlobsRoundTrip) {
    session.ExecDirect(u"CREATE TABLE t(id integer, name varchar(40), body text, data bytea)",
                       nullptr);
    session.ExecDirect(u"INSERT INTO t VALUES(1, 'Ёжик в тумане', 'короткий', NULL)", nullptr);
    // A text well past psqlODBC's default long-text size of 8190.
    const CString body = RepeatText(u"Съешь ещё этих мягких булок. ", 700);
    const std::vector<unsigned char> bytes = Pattern(300000);
    CODBCDynamicCommand insert;
    insert.AddParamWithValue(std::int32_t(2));
    insert.AddParamWithValue(u"Щука");
    insert.AddParamWithValue(body);
    insert.AddParamWithValue(bytes.data(), std::int64_t(bytes.size()));
    insert.Open(session, u"INSERT INTO t VALUES(?, ?, ?, ?)");

    CODBCDynamicCommand read;
    read.Open(session, u"SELECT name, body, data FROM t ORDER BY id");
    ASSERT_TRUE(read.MoveNext());
    EXPECT_EQ(read.GetString(1), u"Ёжик в тумане");
    EXPECT_EQ(read.GetString(2), u"короткий");
    ODBCStatus status = eOdbcStatusValue;
    EXPECT_TRUE(read.GetStatus(read, 3, &status));
    EXPECT_EQ(status, eOdbcStatusNull);
    ASSERT_TRUE(read.MoveNext());
    EXPECT_EQ(read.GetString(1), u"Щука");
    std::int64_t length = 0;
    EXPECT_TRUE(read.GetLength(read, 2, &length));
    EXPECT_EQ(length, body.GetLength());
    EXPECT_TRUE(read.GetString(2) == body);
    EXPECT_TRUE(read.GetLength(read, 3, &length));
    ASSERT_EQ(length, std::int64_t(bytes.size()));
    EXPECT_EQ(std::memcmp(read.GetColumn(3)->buffer, bytes.data(), bytes.size()), 0);

    // A query with parameters is prepared first on this driver: its columns
    // are described before it runs.
    CODBCDynamicCommand query;
    query.AddParamWithValue(u"Щука");
    query.Open(session, u"SELECT id, length(body) FROM t WHERE name = ?");
    EXPECT_TRUE(query.IsPrepared());
    ASSERT_TRUE(query.MoveNext());
    EXPECT_EQ(query.GetString(1), u"2");
    EXPECT_EQ(Narrow(query.GetString(2)), std::to_string(body.GetLength()));
    EXPECT_FALSE(query.MoveNext());
}

// A blob sent through the caller's stream and read back through the driver's.
class StreamIn : public CODBCBindingsAccessor {
public:
    CMemoryStream* source = nullptr;

protected:
    void DefineParameters(void* hStmt) override {
        CODBCParamBinder::BindStream(hStmt, parameters, 1, IID_ISequentialStream, source);
    }
};

class StreamOut : public CODBCBindingsAccessor {
public:
    CComPtr<ISequentialStream> stream;

protected:
    void DefineColumns(void* hStmt) override {
        CODBCColumnBinder::BindStream(hStmt, columns, 1, IID_ISequentialStream, &stream);
    }
};

TEST_F(Postgres, BlobThroughStreamsAtExecution) {
    session.ExecDirect(u"CREATE TABLE t(data bytea)", nullptr);
    CMemoryStream source(Pattern(100000));
    CODBCDynamicCommandT<StreamIn> insert;
    insert.source = &source;
    insert.Open(session, u"INSERT INTO t VALUES(?)");

    CODBCDynamicCommandT<StreamOut> read;
    read.Open(session, u"SELECT data FROM t");
    ASSERT_TRUE(read.MoveNext());
    std::vector<unsigned char> back(200000);
    std::size_t total = 0;
    ULONG got = 0;
    while (read.stream->Read(back.data() + total, 4096, &got) == S_OK) total += got;
    back.resize(total);
    EXPECT_TRUE(back == source.m_bytes);
}

TEST_F(Postgres, NumbersCountsAndTimestampsKeepTheirValues) {
    session.ExecDirect(u"CREATE TABLE t(price numeric(10,2), whole numeric(18,0), "
                       u"wide numeric(30,5), small numeric(5,0), stamp timestamp)",
                       nullptr);
    session.ExecDirect(u"INSERT INTO t VALUES(12.75, 123456789012345678, "
                       u"1234567890123456789012345.12345, 42, '2024-01-02 03:04:05.123456')",
                       nullptr);
    CODBCDynamicCommand read;
    read.Open(session, u"SELECT price, whole, wide, small, stamp, "
                       u"(SELECT count(*) FROM generate_series(1, 3)), 5000000000::bigint FROM t");
    ASSERT_TRUE(read.MoveNext());
    // numeric is reported as SQL type 2: with a scale it is no integer.
    EXPECT_EQ(read.GetColumn(1)->sqlType, 2);
    EXPECT_EQ(read.GetString(1), u"12.75");
    EXPECT_EQ(read.ToDouble(read.GetColumn(1)->cType, eOdbcStatusValue, read.GetColumn(1)->buffer),
              12.75);
    EXPECT_EQ(read.GetString(2), u"123456789012345678");
    EXPECT_EQ(read.GetString(3), u"1234567890123456789012345.12345");
    EXPECT_EQ(read.GetString(4), u"42");
    EXPECT_EQ(read.GetColumn(4)->cType, 4);
    EXPECT_EQ(read.GetString(5), u"2024-01-02 03:04:05.123");
    EXPECT_EQ(read.GetString(6), u"3"); // count(*) is a bigint
    EXPECT_EQ(read.GetString(7), u"5000000000");
    EXPECT_THROW(
        read.ToInt32(read.GetColumn(7)->cType, eOdbcStatusValue, read.GetColumn(7)->buffer),
        CODBCException);

    // A timestamp parameter made from a date.
    CODBCDynamicCommand insert;
    insert.AddParameter(11, 1, 16);
    insert.SetParameter(0, COleVariant(45293.5, VT_DATE)); // 2 January 2024, noon
    insert.Open(session, u"INSERT INTO t(stamp) VALUES(?)");
    EXPECT_EQ(Column(session, u"SELECT max(stamp)::text FROM t")[0], u"2024-01-02 12:00:00");
}

TEST_F(Postgres, DatabaseListLeavesOutTheSystemOnes) {
    for (const char16_t* sql :
         {u"DROP DATABASE IF EXISTS tarvex_a", u"DROP DATABASE IF EXISTS tarvex_b",
          u"CREATE DATABASE tarvex_b", u"CREATE DATABASE tarvex_a"})
        session.ExecDirect(sql, nullptr);
    session.Close();
    CSortedIndirectArray<CString> names;
    CString connection = ConnectionString();
    CODBCSession lister;
    lister.GetDatabasesPG(names, connection);
    EXPECT_TRUE(lister.IsOpen());
    lister.Close();
    EXPECT_EQ(CODBCSession::GetEnvRefCount(), 0);
    std::vector<std::string> list;
    for (std::int64_t i = 0; i < names.GetLength(); ++i) list.push_back(Narrow(*names[i]));
    EXPECT_TRUE(std::is_sorted(list.begin(), list.end()));
    EXPECT_NE(std::find(list.begin(), list.end(), "tarvex_a"), list.end());
    EXPECT_NE(std::find(list.begin(), list.end(), "tarvex_b"), list.end());
    EXPECT_EQ(std::find(list.begin(), list.end(), "postgres"), list.end());
    EXPECT_EQ(std::find(list.begin(), list.end(), "template0"), list.end());
    // The browse of Microsoft's driver is not there on psqlODBC (S1C00).
    CODBCSession browse;
    try {
        browse.GetDatabases(names, connection);
        FAIL() << "no exception";
    } catch (const CODBCException& e) {
        EXPECT_STREQ(Narrow(CString(e.GetSQLState())).c_str(), "S1C00");
    }
    EXPECT_EQ(CODBCSession::GetEnvRefCount(), 0);
    Open(session); // the fixture's session closes in TearDown
}

} // namespace
