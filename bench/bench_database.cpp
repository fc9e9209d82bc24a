// Database access on SQLite and PostgreSQL: fetching rows of (integer,
// double, text, timestamp) through the dynamic command, with bound columns
// and with SQLGetData, against plain ODBC loops doing the same reads; and
// inserting rows with bound parameters in one transaction.
//
// Rows: TARVEX_BENCH_ROWS (default 1000000) to fetch, a tenth of it to
// insert. The PostgreSQL server is a throwaway one started for the run.
#include <benchmark/benchmark.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "tarvex/database/odbc_internal.h"
#include "tarvex/database/odbcbinding.h"
#include "tarvex/database/odbccommand.h"
#include "tarvex/database/odbcexception.h"
#include "tarvex/platform/codepage.h"

namespace {

struct Database {
    const char* name;
    CString connection;
    // Fetched in this column order with bound columns: the PostgreSQL driver
    // reports varchar as a wide varchar, which is read with SQLGetData, so
    // there it goes last.
    const char16_t* boundQuery;
    // A long text first makes every column a SQLGetData column.
    const char16_t* lateQuery;
    int boundColumns; // how many leading columns of boundQuery bind
};

std::string g_folder;
std::string g_pgState;
long g_rows = 1000000;
Database g_sqlite, g_pg;

std::string Utf8(const CString& text) {
    return tarvex::ToUtf8(text.View());
}

void Check(SQLRETURN rc, SQLSMALLINT type, SQLHANDLE handle, const char* what) {
    if (SqlSucceeded(rc) || rc == SQL_NO_DATA) return;
    CODBCException e(handle, type, u"");
    std::fprintf(stderr, "%s: %s\n", what, Utf8(e.GetMessageW()).c_str());
    std::exit(1);
}

void Fill(const Database& db) {
    CODBCSession session;
    session.Open(db.connection, elpSqlServer, CODBCSession::eOpenNoPrompt);
    session.ExecDirect(u"DROP TABLE IF EXISTS t", nullptr);
    session.ExecDirect(u"CREATE TABLE t(i INTEGER, d DOUBLE PRECISION, s VARCHAR(40), "
                       u"ts TIMESTAMP, l TEXT)",
                       nullptr);
    // Rows are made by the database itself: the insert is measured apart.
    CString sql;
    if (db.name == std::string("sqlite"))
        sql.Format(u"INSERT INTO t WITH RECURSIVE n(k) AS (SELECT 1 UNION ALL SELECT k + 1 "
                   u"FROM n WHERE k < %d) SELECT k, k * 0.5, 'row number ' || k, "
                   u"datetime(1700000000 + k, 'unixepoch'), NULL FROM n",
                   int(g_rows));
    else
        sql.Format(u"INSERT INTO t SELECT k, k * 0.5, 'row number ' || k, "
                   u"to_timestamp(1700000000 + k), NULL FROM generate_series(1, %d) k",
                   int(g_rows));
    session.ExecDirect(sql, nullptr);
}

void StartPostgres() {
    g_pgState = g_folder + "/pg";
    const std::string start = std::string(TARVEX_PG_SCRIPTS "/pg_start.sh ") + g_pgState;
    if (std::system(start.c_str()) != 0) {
        std::fprintf(stderr, "PostgreSQL did not start\n");
        std::exit(1);
    }
    std::ifstream in(g_pgState + "/pg.env");
    std::string port;
    for (std::string line; std::getline(in, line);)
        if (line.rfind("PGPORT=", 0) == 0) port = line.substr(7);
    const std::string base = "DRIVER={PostgreSQL Unicode};Server=127.0.0.1;Port=" + port +
                             ";UID=postgres;PWD=;Database=";
    CODBCSession admin;
    admin.Open(tarvex::FromUtf8(base + "postgres"), elpPostgreSQL, CODBCSession::eOpenNoPrompt);
    admin.ExecDirect(u"CREATE DATABASE bench", nullptr);
    g_pg.connection = tarvex::FromUtf8(base + "bench");
}

void StopPostgres() {
    if (g_pgState.empty()) return;
    const std::string stop = std::string(TARVEX_PG_SCRIPTS "/pg_stop.sh ") + g_pgState;
    std::system(stop.c_str());
}

void Setup() {
    std::setlocale(LC_CTYPE, "C.UTF-8");
    if (const char* rows = std::getenv("TARVEX_BENCH_ROWS")) g_rows = std::atol(rows);
    char folder[] = "/tmp/tarvex-bench.XXXXXX";
    g_folder = mkdtemp(folder);
    std::ofstream(g_folder + "/odbcinst.ini")
        << "[SQLite3]\nDriver=" TARVEX_SQLITE_ODBC "\n[PostgreSQL Unicode]\nDriver=" TARVEX_PG_ODBC
           "\n";
    setenv("ODBCSYSINI", g_folder.c_str(), 1);

    g_sqlite = {"sqlite", tarvex::FromUtf8("DRIVER={SQLite3};Database=" + g_folder + "/b.db;"),
                u"SELECT i, d, s, ts FROM t", u"SELECT l, i, d, s, ts FROM t", 4};
    g_pg = {"postgres", CString(), u"SELECT i, d, ts, s FROM t", u"SELECT l, i, d, ts, s FROM t",
            3};
    StartPostgres();
    Fill(g_sqlite);
    Fill(g_pg);
}

// What every loop does with a row, so that all of them read all values.
struct Sink {
    std::int64_t ints = 0;
    double doubles = 0;
    std::int64_t chars = 0;
    std::int64_t seconds = 0;
};

void FetchLibrary(benchmark::State& state, const Database& db, bool bound) {
    CODBCSession session;
    session.Open(db.connection, elpSqlServer, CODBCSession::eOpenNoPrompt);
    for (auto _ : state) {
        Sink sink;
        CODBCDynamicCommand command;
        command.Open(session, bound ? db.boundQuery : db.lateQuery);
        // Column numbers of i, d, s, ts in this query.
        const short first = bound ? 1 : 2;
        const short sColumn =
            bound ? (db.boundColumns == 4 ? 3 : 4) : (db.boundColumns == 4 ? 4 : 5);
        const short tsColumn =
            bound ? (db.boundColumns == 4 ? 4 : 3) : (db.boundColumns == 4 ? 5 : 4);
        while (command.MoveNext()) {
            const CColumnData* i = command.GetColumn(first);
            const CColumnData* d = command.GetColumn(short(first + 1));
            const CColumnData* ts = command.GetColumn(tsColumn);
            sink.ints += command.ToInt32(i->cType, eOdbcStatusValue, i->buffer);
            sink.doubles += command.ToDouble(d->cType, eOdbcStatusValue, d->buffer);
            std::int64_t length = 0;
            command.GetLength(command, sColumn, &length);
            sink.chars += length;
            sink.seconds += static_cast<const TIMESTAMP_STRUCT*>(ts->buffer)->second;
        }
        benchmark::DoNotOptimize(sink);
        if (bound && !command.IsAllBound()) state.SkipWithError("columns were not bound");
    }
    state.SetItemsProcessed(state.iterations() * g_rows);
}

void FetchPlain(benchmark::State& state, const Database& db, bool bound) {
    SQLHENV env;
    SQLHDBC dbc;
    // The same ODBC 2 environment as the library's, so that only the
    // library's own work differs.
    SQLAllocEnv(&env);
    SQLAllocConnect(env, &dbc);
    CString connection = db.connection;
    Check(SQLDriverConnectW(dbc, nullptr, connection.GetBuffer(), SQL_NTS, nullptr, 0, nullptr,
                            SQL_DRIVER_NOPROMPT),
          SQL_HANDLE_DBC, dbc, "connect");
    connection.ReleaseBuffer();
    for (auto _ : state) {
        Sink sink;
        SQLHSTMT stmt;
        SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt);
        CString sql = bound ? db.boundQuery : db.lateQuery;
        Check(SQLExecDirectW(stmt, sql.GetBuffer(), SQL_NTS), SQL_HANDLE_STMT, stmt, "query");
        sql.ReleaseBuffer();
        SQLINTEGER i = 0;
        double d = 0;
        SQLWCHAR s[41 + 1];
        TIMESTAMP_STRUCT ts{};
        SQLLEN li = 0, ld = 0, ls = 0, lts = 0;
        const SQLUSMALLINT first = bound ? 1 : 2;
        const SQLUSMALLINT sColumn =
            bound ? (db.boundColumns == 4 ? 3 : 4) : (db.boundColumns == 4 ? 4 : 5);
        const SQLUSMALLINT tsColumn =
            bound ? (db.boundColumns == 4 ? 4 : 3) : (db.boundColumns == 4 ? 5 : 4);
        if (bound) {
            SQLBindCol(stmt, first, SQL_C_LONG, &i, 4, &li);
            SQLBindCol(stmt, first + 1, SQL_C_DOUBLE, &d, 8, &ld);
            SQLBindCol(stmt, tsColumn, SQL_C_TIMESTAMP, &ts, sizeof ts, &lts);
            if (db.boundColumns == 4) SQLBindCol(stmt, sColumn, SQL_C_WCHAR, s, sizeof s, &ls);
        }
        while (SqlSucceeded(SQLFetch(stmt))) {
            if (!bound) {
                // Every column by SQLGetData, in column order.
                SQLWCHAR l[64];
                SQLLEN ll = 0;
                SQLGetData(stmt, 1, SQL_C_WCHAR, l, sizeof l, &ll);
                for (SQLUSMALLINT c = 2; c <= 5; ++c) {
                    if (c == first)
                        SQLGetData(stmt, c, SQL_C_LONG, &i, 4, &li);
                    else if (c == first + 1)
                        SQLGetData(stmt, c, SQL_C_DOUBLE, &d, 8, &ld);
                    else if (c == tsColumn)
                        SQLGetData(stmt, c, SQL_C_TIMESTAMP, &ts, sizeof ts, &lts);
                    else
                        SQLGetData(stmt, c, SQL_C_WCHAR, s, sizeof s, &ls);
                }
            } else if (db.boundColumns != 4) {
                SQLGetData(stmt, sColumn, SQL_C_WCHAR, s, sizeof s, &ls);
            }
            sink.ints += i;
            sink.doubles += d;
            sink.chars += ls / 2;
            sink.seconds += ts.second;
        }
        SQLFreeHandle(SQL_HANDLE_STMT, stmt);
        benchmark::DoNotOptimize(sink);
    }
    state.SetItemsProcessed(state.iterations() * g_rows);
    SQLDisconnect(dbc);
    SQLFreeHandle(SQL_HANDLE_DBC, dbc);
    SQLFreeHandle(SQL_HANDLE_ENV, env);
}

// One record, bound once, executed once per row.
struct Row {
    std::int32_t i = 0;
    double d = 0;
    char16_t s[41] = {};
    TIMESTAMP_STRUCT ts{};
};

void InsertLibrary(benchmark::State& state, const Database& db) {
    CODBCSession session;
    session.Open(db.connection, elpSqlServer, CODBCSession::eOpenNoPrompt);
    session.ExecDirect(u"CREATE TABLE IF NOT EXISTS ins(i INTEGER, d DOUBLE PRECISION, "
                       u"s VARCHAR(40), ts TIMESTAMP)",
                       nullptr);
    const long rows = g_rows / 10;
    for (auto _ : state) {
        session.ExecDirect(u"DELETE FROM ins", nullptr);
        session.StartTransaction(0);
        CODBCStatement statement;
        statement.Create(session, u"INSERT INTO ins VALUES(?, ?, ?, ?)");
        statement.Prepare();
        Row row;
        CODBCBindings bindings;
        CODBCParamBinder::BindItem(statement, bindings, 1, 4, &row.i, 4);
        CODBCParamBinder::BindItem(statement, bindings, 2, 8, &row.d, 8);
        CODBCParamBinder::BindItem(statement, bindings, 3, -8, row.s, sizeof row.s, 40);
        CODBCParamBinder::BindItem(statement, bindings, 4, 11, &row.ts, sizeof row.ts, 23);
        for (long k = 0; k < rows; ++k) {
            row.i = std::int32_t(k);
            row.d = k * 0.5;
            const char16_t text[] = u"row number ";
            std::memcpy(row.s, text, sizeof text);
            row.ts = {2024, 1, 2, 3, 4, std::uint16_t(k % 60), 0};
            bindings.UpdateParamState(statement);
            statement.Exec();
        }
        session.Commit();
    }
    state.SetItemsProcessed(state.iterations() * rows);
}

void InsertPlain(benchmark::State& state, const Database& db) {
    SQLHENV env;
    SQLHDBC dbc;
    SQLAllocEnv(&env);
    SQLAllocConnect(env, &dbc);
    CString connection = db.connection;
    Check(SQLDriverConnectW(dbc, nullptr, connection.GetBuffer(), SQL_NTS, nullptr, 0, nullptr,
                            SQL_DRIVER_NOPROMPT),
          SQL_HANDLE_DBC, dbc, "connect");
    connection.ReleaseBuffer();
    const long rows = g_rows / 10;
    for (auto _ : state) {
        SQLHSTMT stmt;
        SQLAllocStmt(dbc, &stmt);
        CString sql = u"DELETE FROM ins";
        SQLExecDirectW(stmt, sql.GetBuffer(), SQL_NTS);
        sql.ReleaseBuffer();
        SQLSetConnectAttrW(dbc, SQL_ATTR_AUTOCOMMIT, SQL_AUTOCOMMIT_OFF, SQL_IS_UINTEGER);
        sql = u"INSERT INTO ins VALUES(?, ?, ?, ?)";
        Check(SQLPrepareW(stmt, sql.GetBuffer(), SQL_NTS), SQL_HANDLE_STMT, stmt, "prepare");
        sql.ReleaseBuffer();
        Row row;
        SQLLEN li = 4, ld = 8, ls = SQL_NTS, lts = sizeof row.ts;
        SQLBindParameter(stmt, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 0, 0, &row.i, 4, &li);
        SQLBindParameter(stmt, 2, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 0, 0, &row.d, 8, &ld);
        SQLBindParameter(stmt, 3, SQL_PARAM_INPUT, SQL_C_WCHAR, SQL_VARCHAR, 40, 0, row.s,
                         sizeof row.s, &ls);
        SQLBindParameter(stmt, 4, SQL_PARAM_INPUT, SQL_C_TIMESTAMP, SQL_TIMESTAMP, 23, 3, &row.ts,
                         sizeof row.ts, &lts);
        for (long k = 0; k < rows; ++k) {
            row.i = std::int32_t(k);
            row.d = k * 0.5;
            const char16_t text[] = u"row number ";
            std::memcpy(row.s, text, sizeof text);
            row.ts = {2024, 1, 2, 3, 4, std::uint16_t(k % 60), 0};
            Check(SQLExecute(stmt), SQL_HANDLE_STMT, stmt, "insert");
        }
        SQLEndTran(SQL_HANDLE_DBC, dbc, SQL_COMMIT);
        SQLSetConnectAttrW(dbc, SQL_ATTR_AUTOCOMMIT,
                           reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON), SQL_IS_UINTEGER);
        SQLFreeHandle(SQL_HANDLE_STMT, stmt);
    }
    state.SetItemsProcessed(state.iterations() * rows);
    SQLDisconnect(dbc);
    SQLFreeConnect(dbc);
    SQLFreeEnv(env);
}

void Register() {
    for (const Database* db : {&g_sqlite, &g_pg}) {
        const std::string n = db->name;
        auto opts = [](benchmark::internal::Benchmark* b) {
            b->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
        };
        opts(benchmark::RegisterBenchmark(
            ("Fetch/" + n + "/bound/library").c_str(),
            [db](benchmark::State& s) { FetchLibrary(s, *db, true); }));
        opts(benchmark::RegisterBenchmark(("Fetch/" + n + "/bound/plain").c_str(),
                                          [db](benchmark::State& s) { FetchPlain(s, *db, true); }));
        opts(benchmark::RegisterBenchmark(
            ("Fetch/" + n + "/getdata/library").c_str(),
            [db](benchmark::State& s) { FetchLibrary(s, *db, false); }));
        opts(
            benchmark::RegisterBenchmark(("Fetch/" + n + "/getdata/plain").c_str(),
                                         [db](benchmark::State& s) { FetchPlain(s, *db, false); }));
        opts(benchmark::RegisterBenchmark(("Insert/" + n + "/library").c_str(),
                                          [db](benchmark::State& s) { InsertLibrary(s, *db); }));
        opts(benchmark::RegisterBenchmark(("Insert/" + n + "/plain").c_str(),
                                          [db](benchmark::State& s) { InsertPlain(s, *db); }));
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    Setup();
    Register();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    StopPostgres();
    std::error_code ignored;
    std::filesystem::remove_all(g_folder, ignored);
    return 0;
}
