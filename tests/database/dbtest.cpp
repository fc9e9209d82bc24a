#include "dbtest.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tarvex/platform/codepage.h"

namespace dbtest {

namespace {

// unixODBC hands wide SQL to a driver without wide entry points (the SQLite
// driver) in the narrow encoding of the process's character-type locale:
// a host that sends Cyrillic SQL text to such a driver needs a UTF-8 locale,
// and so do these tests. Parameters travel as UTF-16 either way.
const bool g_localeSet = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;

std::string Env(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

// The drivers are registered in the test folder's odbcinst.ini, never in
// the system's; unixODBC reads the variables at its first call.
const std::string g_testDir = [] {
    const std::string folder = Env("TARVEX_DB_TEST_DIR");
    if (!folder.empty()) {
        setenv("ODBCSYSINI", folder.c_str(), 1);
        setenv("ODBCINI", (folder + "/odbc.ini").c_str(), 1);
    }
    return folder;
}();

} // namespace

std::string Narrow(const CString& text) {
    return tarvex::ToUtf8(text.View());
}

void SqliteTest::SetUp() {
    ASSERT_TRUE(g_localeSet);
    char folder[] = "/tmp/tarvex-sqlite.XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    m_folder = folder;
    const std::string text = "DRIVER={SQLite3};Database=" + m_folder + "/test.db;";
    m_connection = tarvex::FromUtf8(text);
}

void SqliteTest::TearDown() {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

void SqliteTest::Open(CODBCSession& session, ELibPlatform platform) {
    session.Open(m_connection, platform, CODBCSession::eOpenNoPrompt);
}

void PgTest::SetUp() {
    const std::string envFile = g_testDir + "/pg.env";
    std::ifstream in(envFile);
    ASSERT_TRUE(in) << "the PostgreSQL fixture did not start (no " << envFile << ")";
    for (std::string line; std::getline(in, line);)
        if (line.rfind("PGPORT=", 0) == 0) m_port = line.substr(7);
    ASSERT_FALSE(m_port.empty());

    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    m_database = std::string("t_") + info->test_suite_name() + "_" + info->name();
    for (char& c : m_database) c = char(std::tolower(static_cast<unsigned char>(c)));
    CODBCSession admin;
    admin.Open(ConnectionString("postgres"), elpPostgreSQL, CODBCSession::eOpenNoPrompt);
    const CString name = tarvex::FromUtf8(m_database);
    CString sql;
    sql.Format(u"DROP DATABASE IF EXISTS %s", name.GetString());
    admin.ExecDirect(sql, nullptr);
    sql.Format(u"CREATE DATABASE %s", name.GetString());
    admin.ExecDirect(sql, nullptr);
}

CString PgTest::ConnectionString(const char* database) const {
    const std::string text = "DRIVER={PostgreSQL Unicode};Server=127.0.0.1;Port=" + m_port +
                             ";Database=" + (database ? database : m_database) +
                             ";UID=postgres;PWD=;";
    return tarvex::FromUtf8(text);
}

void PgTest::Open(CODBCSession& session, ELibPlatform platform) {
    session.Open(ConnectionString(), platform, CODBCSession::eOpenNoPrompt);
}

std::vector<CString> Column(const CODBCSession& session, const char16_t* sql) {
    std::vector<CString> values;
    CODBCDynamicCommand command;
    command.Open(session, sql);
    while (command.MoveNext()) values.push_back(command.GetString(1));
    return values;
}

HRESULT CMemoryStream::QueryInterface(REFIID riid, void** object) {
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_ISequentialStream)) {
        *object = static_cast<ISequentialStream*>(this);
        AddRef();
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

HRESULT CMemoryStream::Read(void* data, ULONG size, ULONG* read) {
    const std::size_t count = std::min<std::size_t>(size, m_bytes.size() - m_position);
    if (count) std::memcpy(data, m_bytes.data() + m_position, count);
    m_position += count;
    if (read) *read = ULONG(count);
    return count < size ? S_FALSE : S_OK;
}

HRESULT CMemoryStream::Write(const void* data, ULONG size, ULONG* written) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    m_bytes.insert(m_bytes.end(), bytes, bytes + size);
    if (written) *written = size;
    return S_OK;
}

std::vector<unsigned char> Pattern(std::size_t size) {
    std::vector<unsigned char> bytes(size);
    std::uint32_t x = 12345;
    for (auto& b : bytes) {
        x = x * 1103515245u + 12345u;
        b = static_cast<unsigned char>(x >> 24);
    }
    return bytes;
}

CString RepeatText(const char16_t* piece, int times) {
    CString text;
    for (int i = 0; i < times; ++i) text += piece;
    return text;
}

} // namespace dbtest
