// Shared setup of the database tests: a SQLite file per test, and a
// PostgreSQL database per test on the server the CTest fixture started.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tarvex/database/odbccommand.h"
#include "tarvex/database/odbcexception.h"
#include "tarvex/database/odbcsession.h"
#include "tarvex/platform/sequentialstream.h"

namespace dbtest {

// UTF-16 text for messages of failed assertions.
std::string Narrow(const CString& text);

// A SQLite database file in a folder of its own, removed afterwards.
class SqliteTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // "DRIVER={SQLite3};Database=<file>;"
    CString ConnectionString() const { return m_connection; }
    void Open(CODBCSession& session, ELibPlatform platform = elpSqlServer);

    std::string m_folder;
    CString m_connection;
};

// A database of its own on the test server. Fails, never skips, when the
// server is not there.
class PgTest : public ::testing::Test {
protected:
    void SetUp() override;
    // The test's own database, or another one on the same server.
    CString ConnectionString(const char* database = nullptr) const;
    void Open(CODBCSession& session, ELibPlatform platform = elpPostgreSQL);

    std::string m_port;
    std::string m_database;
};

// Runs `sql` and answers the first column of every row, as text.
std::vector<CString> Column(const CODBCSession& session, const char16_t* sql);

// A byte stream over memory, for blobs sent through ISequentialStream.
class CMemoryStream : public ISequentialStream {
public:
    explicit CMemoryStream(std::vector<unsigned char> bytes) : m_bytes(std::move(bytes)) {}
    HRESULT QueryInterface(REFIID riid, void** object) override;
    ULONG AddRef() override { return ++m_refs; }
    ULONG Release() override { return --m_refs; } // lives on the test's stack
    HRESULT Read(void* data, ULONG size, ULONG* read) override;
    HRESULT Write(const void* data, ULONG size, ULONG* written) override;

    std::vector<unsigned char> m_bytes;
    std::size_t m_position = 0;
    ULONG m_refs = 1;
};

std::vector<unsigned char> Pattern(std::size_t size);
CString RepeatText(const char16_t* piece, int times);

} // namespace dbtest

// Runs a statement and turns an exception of the library into a failure
// that shows its text (GoogleTest knows only std::exception).
#define DB_RUN(statement)                                                                          \
    do {                                                                                           \
        try {                                                                                      \
            statement;                                                                             \
        } catch (const CKVException& e) {                                                          \
            FAIL() << "exception: " << dbtest::Narrow(e.GetMessageW());                            \
        }                                                                                          \
    } while (0)
