#include "tests/service/servicetest.h"

using namespace testing_service;

namespace {

class SessionTest : public ::testing::Test {
protected:
    void Connect(const std::string& path = "/svc/") {
        ASSERT_TRUE(client.OpenConnection(server.Url16(path).c_str(), u"", u"", nullptr, nullptr));
    }
    void UsePackage() {
        client.SetNegotiatePackageFactory([this] { return package; });
    }

    TestServer server;
    TestClient client;
    std::shared_ptr<ScriptedPackage> package = std::make_shared<ScriptedPackage>();
};

} // namespace

TEST_F(SessionTest, DatabaseLoginSendsBase64OfTheJsonAndTheTokenGoesOnLaterCalls) {
    server.Push(200, "{\"session_token\":\"tok-1\",\"resultCode\":0}");
    server.Push(200, "{\"possibility\":1}");
    Connect("/some/path");
    EXPECT_TRUE(client.OpenDatabaseSession(u"База", u"login", u"pa\"ss"));
    EXPECT_EQ("tok-1", client.GetSessionToken());
    EXPECT_TRUE(client.DatabaseConnectionIsPossible(u"База"));

    const auto requests = server.Requests();
    ASSERT_EQ(2u, requests.size());
    // The quote is not escaped: the service receives broken JSON, as sent.
    const std::string login = "{\"db_name\":\"База\",\"login\":\"login\", \"pass\":\"pa\"ss\"}";
    EXPECT_EQ(Base64(login), requests[0].body);
    // POST objects ignore the URL's path; only the session call is authorised.
    EXPECT_EQ(ServiceHead(server, "/auth/db", requests[0].body.size()), requests[0].head);
    EXPECT_EQ("{\"db_name\":\"База\"}", requests[1].body);
    EXPECT_EQ(ServiceHead(server, "/service/databaseConnectionCheck", requests[1].body.size(),
                          "session_token:tok-1"),
              requests[1].head);
}

TEST_F(SessionTest, FailedLoginsKeepTheOldToken) {
    server.Push(200, "{\"session_token\":\"first\"}");
    server.Push(200, "{\"session_token\":5}");
    server.Push(200, "{\"token\":\"x\"}");
    server.Push(200, "[\"session_token\"]");
    server.Push(200, "{\"session_token\":\"broken\"");
    server.Push(401, "{\"session_token\":\"refused\"}");
    server.Push(200, "");
    Connect();
    EXPECT_TRUE(client.OpenDatabaseSession(u"d", u"l", u"p"));
    for (int i = 0; i < 6; ++i) {
        EXPECT_FALSE(client.OpenDatabaseSession(u"d", u"l", u"p")) << i;
        EXPECT_EQ("first", client.GetSessionToken()) << i;
    }
    EXPECT_EQ(7u, server.RequestCount());
}

TEST_F(SessionTest, ResponsesSkipEachByteOfTheByteOrderMarkByItself) {
    const char* bodies[] = {
        "\xEF\xBB\xBF{\"session_token\":\"a\"}", "\xBB{\"session_token\":\"b\"}",
        "\xEF\xBF{\"session_token\":\"c\"}",     "\xBF\xBB{\"session_token\":\"d\"}",
        "\xEF\xEF{\"session_token\":\"e\"}",     "\xEF\xBB\xBF"};
    for (const char* body : bodies) server.Push(200, body);
    Connect();
    EXPECT_TRUE(client.OpenDatabaseSession(u"d", u"l", u"p"));
    EXPECT_EQ("a", client.GetSessionToken());
    EXPECT_TRUE(client.OpenDatabaseSession(u"d", u"l", u"p"));
    EXPECT_EQ("b", client.GetSessionToken());
    EXPECT_TRUE(client.OpenDatabaseSession(u"d", u"l", u"p"));
    EXPECT_EQ("c", client.GetSessionToken());
    EXPECT_FALSE(client.OpenDatabaseSession(u"d", u"l", u"p"));
    EXPECT_FALSE(client.OpenDatabaseSession(u"d", u"l", u"p"));
    EXPECT_FALSE(client.OpenDatabaseSession(u"d", u"l", u"p"));
    EXPECT_EQ("c", client.GetSessionToken());
}

TEST_F(SessionTest, DatabaseProbeNeedsAPositiveInteger) {
    const std::pair<const char*, bool> cases[] = {
        {"{\"possibility\":0}", false},
        {"{\"possibility\":-1}", false},
        {"{\"possibility\":\"1\"}", false},
        {"{\"possibility\":1.5}", false},
        {"{}", false},
        {"{\"possibility\":1}", true},
        {"{\"possibility\":2}", true},
        {"{\"possibility\":5000000000}", true},
        {"{\"possibility\":18446744073709551615}", false}};
    for (const auto& [body, expected] : cases) server.Push(200, body);
    Connect();
    for (const auto& [body, expected] : cases)
        EXPECT_EQ(expected, client.DatabaseConnectionIsPossible(u"db")) << body;
}

TEST_F(SessionTest, RefusedPostIsFalseWhileRefusedGetIsTheStatusText) {
    server.Push(401, "{\"possibility\":1}");
    server.Push(401, "нет доступа");
    Connect();
    // POST: false, no exception, the body unread.
    EXPECT_FALSE(client.DatabaseConnectionIsPossible(u"db"));
    EXPECT_TRUE(client.lastException.IsEmpty());
    // GET: the probe catches the exception and gives its text.
    CString text = u"before";
    EXPECT_FALSE(client.ConnectionIsValid(text));
    EXPECT_EQ("Ошибка 401: Ошибка авторизации. нет доступа", U8(text));
}

TEST_F(SessionTest, ApiProbeReadsBothVersionsAsIntegers) {
    LogRecorder log;
    server.Push(200, "{\"majorVersion\":2,\"minorVersion\":15}");
    server.Push(200, "{\"majorVersion\":2,\"minorVersion\":\"15\"}");
    server.Push(200, "{\"majorVersion\":2}");
    server.Push(200, std::string("{\"majorVersion\":3,\"minorVersion\":1}\0garbage", 44));
    server.Push(200, "\xBB{\"majorVersion\":4,\"minorVersion\":0}");
    server.Push(200, "\xBF\xBB{\"majorVersion\":5,\"minorVersion\":0}");
    Connect("/api/");
    CString text;
    EXPECT_TRUE(client.ConnectionIsValid(text));
    EXPECT_EQ("Сервер доступен. Версия API 2:15", U8(text));
    EXPECT_EQ(1u, log.With("Сервер доступен. Версия API 2:15").size());
    text = u"untouched";
    EXPECT_FALSE(client.ConnectionIsValid(text));
    EXPECT_FALSE(client.ConnectionIsValid(text));
    EXPECT_EQ(CString(u"untouched"), text);
    // The body is read as terminated text: a zero ends it.
    EXPECT_TRUE(client.ConnectionIsValid(text));
    EXPECT_EQ("Сервер доступен. Версия API 3:1", U8(text));
    EXPECT_TRUE(client.ConnectionIsValid(text));
    EXPECT_EQ("Сервер доступен. Версия API 4:0", U8(text));
    EXPECT_FALSE(client.ConnectionIsValid(text));
    for (const auto& request : server.Requests())
        EXPECT_EQ(0u, request.head.find("GET /api/?GetApiInfo HTTP/1.1\r\n"));
}

TEST_F(SessionTest, ProbeOfAStalledServerGivesTheSendFailure) {
    Reply silent;
    silent.stallBeforeHeaders = true;
    server.Push(silent);
    server.Push(silent);
    client.SetReceiveTimeout(200);
    Connect();
    CString text;
    EXPECT_FALSE(client.ConnectionIsValid(text));
    EXPECT_EQ(0u, U8(text).find("Ошибка отправки запроса."));
    EXPECT_FALSE(client.DatabaseConnectionIsPossible(u"db"));
}

TEST_F(SessionTest, WindowsLoginRunsTwoLegs) {
    package->steps = {{SEC_I_CONTINUE_NEEDED, "first-token"}, {SEC_E_OK, "second\x01token"}};
    server.Push(200, "{\"token\":\"srv-7\",\"data\":\"" + Base64("challenge") + "\"}");
    server.Push(200, "\xEF\xBB\xBF{\"session_token\":\"win\"}");
    UsePackage();
    Connect();
    EXPECT_TRUE(client.OpenWindowsSession());
    EXPECT_EQ("win", client.GetSessionToken());
    EXPECT_EQ(SECPKG_CRED_OUTBOUND, package->credentialUse);
    EXPECT_EQ("Server_User_Logon_Name", package->target);
    EXPECT_EQ((std::vector<std::string>{"<null>", "challenge"}), package->inputs);

    const auto requests = server.Requests();
    ASSERT_EQ(2u, requests.size());
    const std::string begin =
        "{\"sspi_stage\":\"begin\", \"data\":\"" + Base64("first-token") + "\"}";
    const std::string end = "{\"sspi_stage\":\"end\", \"token\":\"srv-7\", \"data\":\"" +
                            Base64("second\x01token") + "\"}";
    EXPECT_EQ(begin, requests[0].body);
    EXPECT_EQ(end, requests[1].body);
    EXPECT_EQ(ServiceHead(server, "/auth/windows", begin.size()), requests[0].head);
    EXPECT_EQ(ServiceHead(server, "/auth/windows", end.size()), requests[1].head);
}

TEST_F(SessionTest, WindowsLoginWithoutAFirstTokenGoesOnUnauthenticated) {
    // A token over 1000 bytes can't be made either.
    package->steps = {{SEC_I_CONTINUE_NEEDED, std::string(1001, 't')}};
    server.Push(200, "{\"possibility\":1}");
    UsePackage();
    Connect();
    EXPECT_TRUE(client.OpenWindowsSession());
    EXPECT_EQ("", client.GetSessionToken());
    EXPECT_EQ(0u, server.RequestCount());
    EXPECT_TRUE(client.DatabaseConnectionIsPossible(u"db"));
    // The probe carries the session line with an empty token.
    EXPECT_NE(std::string::npos,
              server.Requests()[0].head.find("\r\nAuthorization: session_token:\r\n"));
}

TEST_F(SessionTest, WindowsLoginFailures) {
    UsePackage();
    Connect();
    package->acquire = SEC_E_NO_CREDENTIALS;
    EXPECT_FALSE(client.OpenWindowsSession());
    package->acquire = SEC_E_OK;

    const std::string failing[] = {
        "{\"token\":\"t\",\"data\":\"abc\"}",  // not base64
        "{\"token\":\"t\",\"data\":\"\"}",     // nothing decoded
        "{\"token\":\"t\",\"data\":\"@@@@\"}", // bad characters
        "{\"token\":1,\"data\":\"YWJj\"}",     // token not a string
        "{\"data\":\"YWJj\"}",                 // no token
        "nonsense",
    };
    for (const auto& body : failing) {
        package->steps = {{SEC_I_CONTINUE_NEEDED, "t1"}};
        server.Push(200, body);
        EXPECT_FALSE(client.OpenWindowsSession()) << body;
    }
    // The second token can't be made: no second leg.
    package->steps = {{SEC_I_CONTINUE_NEEDED, "t1"}, {SEC_E_INVALID_TOKEN, ""}};
    server.Push(200, "{\"token\":\"t\",\"data\":\"YWJj\"}");
    EXPECT_FALSE(client.OpenWindowsSession());
    // Refused first leg, then a second leg whose answer has no session.
    package->steps = {{SEC_I_CONTINUE_NEEDED, "t1"}};
    server.Push(403, "{\"token\":\"t\",\"data\":\"YWJj\"}");
    EXPECT_FALSE(client.OpenWindowsSession());
    package->steps = {{SEC_I_CONTINUE_NEEDED, "t1"}, {SEC_E_OK, ""}};
    server.Push(200, "{\"token\":\"t\",\"data\":\"YWJj\"}");
    server.Push(200, "{\"session_token\":null}");
    EXPECT_FALSE(client.OpenWindowsSession());
    EXPECT_EQ("", client.GetSessionToken());
    EXPECT_EQ(std::size(failing) + 4, server.RequestCount());
    // A completed context may send an empty second token.
    EXPECT_EQ("{\"sspi_stage\":\"end\", \"token\":\"t\", \"data\":\"\"}",
              server.Requests().back().body);
}

TEST_F(SessionTest, OpenSessionTellsWhichStepFailed) {
    LogRecorder log;
    CString error;
    // Login refused.
    server.Push(403, "");
    EXPECT_FALSE(client.OpenSession(server.Url16().c_str(), u"user", u"pw", u"db", &error));
    EXPECT_EQ("Аутентификация не пройдена", U8(error));
    EXPECT_TRUE(client.IsConnected()); // closing is the caller's

    // API probe refused.
    server.Push(200, "{\"session_token\":\"s\"}");
    server.Push(500, "");
    EXPECT_FALSE(client.OpenSession(server.Url16().c_str(), u"user", u"pw", u"db", &error));
    EXPECT_EQ("Ошибка 500: Внутренняя ошибка сервера.", U8(error));

    // Database probe refused.
    server.Push(200, "{\"session_token\":\"s\"}");
    server.Push(200, "{\"majorVersion\":1,\"minorVersion\":0}");
    server.Push(200, "{\"possibility\":0}");
    EXPECT_FALSE(client.OpenSession(server.Url16().c_str(), u"user", u"pw", u"db", &error));
    EXPECT_EQ("Сервис не может подключиться к данной БД. Следует проверить его настройку.",
              U8(error));

    // All well: the probe's text does not reach the caller.
    server.Push(200, "{\"session_token\":\"s2\"}");
    server.Push(200, "{\"majorVersion\":1,\"minorVersion\":0}");
    server.Push(200, "{\"possibility\":1}");
    error = u"kept";
    EXPECT_TRUE(client.OpenSession(server.Url16().c_str(), u"user", u"pw", u"db", &error));
    EXPECT_EQ(CString(u"kept"), error);
    EXPECT_EQ("s2", client.GetSessionToken());
    EXPECT_EQ(9u, server.RequestCount());

    // A bad URL keeps OpenConnection's text.
    EXPECT_FALSE(client.OpenSession(u"nowhere", u"user", u"pw", u"db", &error));
    EXPECT_EQ("Ошибка в URL сервиса (не указан протокол).", U8(error));
}

TEST_F(SessionTest, EmptyUserSelectsTheWindowsLogin) {
    package->steps = {{SEC_I_CONTINUE_NEEDED, "t1"}, {SEC_E_OK, "t2"}};
    server.Push(200, "{\"token\":\"t\",\"data\":\"YWJj\"}");
    server.Push(200, "{\"session_token\":\"w\"}");
    server.Push(200, "{\"majorVersion\":1,\"minorVersion\":2}");
    server.Push(200, "{\"possibility\":3}");
    UsePackage();
    CString error;
    EXPECT_TRUE(client.OpenSession(server.Url16().c_str(), u"", u"", u"db", &error));
    const auto requests = server.Requests();
    ASSERT_EQ(4u, requests.size());
    EXPECT_EQ(0u, requests[0].head.find("POST /auth/windows "));
    EXPECT_NE(std::string::npos, requests[3].head.find("Authorization: session_token:w\r\n"));
}

TEST(SessionCopy, CopyCarriesTheToken) {
    TestServer server;
    server.Push(200, "{\"session_token\":\"t\"}");
    TestClient client;
    ASSERT_TRUE(client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr));
    ASSERT_TRUE(client.OpenDatabaseSession(u"d", u"l", u"p"));
    CProjectServiceApi copy;
    copy = client;
    EXPECT_EQ("t", copy.GetSessionToken());
    EXPECT_TRUE(copy.IsConnected());
}

TEST(NegotiatePackage, WithoutKerberosCredentialsTheRealPackageSendsNothing) {
    // No credentials cache and no realm: either the credentials or the first
    // token fail, and neither leg reaches the service.
    const char* names[] = {"KRB5CCNAME", "KRB5_CONFIG", "KRB5_KTNAME"};
    std::vector<std::pair<std::string, std::string>> saved;
    for (const char* name : names)
        if (const char* value = std::getenv(name)) saved.emplace_back(name, value);
    setenv("KRB5CCNAME", "FILE:/nonexistent/tarvex-ccache", 1);
    setenv("KRB5_CONFIG", "/nonexistent/krb5.conf", 1);
    setenv("KRB5_KTNAME", "FILE:/nonexistent/keytab", 1);

    TestServer server;
    TestClient client;
    ASSERT_TRUE(client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr));
    client.OpenWindowsSession();
    EXPECT_EQ(0u, server.RequestCount());
    EXPECT_EQ("", client.GetSessionToken());

    CSspiServer acceptor;
    unsigned char out[1000];
    std::uint32_t outLength = sizeof out;
    bool done = true;
    const unsigned char garbage[] = {0x60, 0x03, 0x06, 0x01, 0x00};
    acceptor.Init();
    EXPECT_FALSE(acceptor.GenerateContext(garbage, sizeof garbage, out, outLength, true, done));

    for (const char* name : names) unsetenv(name);
    for (const auto& [name, value] : saved) setenv(name.c_str(), value.c_str(), 1);
}
