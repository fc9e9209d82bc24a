#include "tests/service/servicetest.h"

#include <fstream>
#include <sys/file.h>

#include "tarvex/core/exceptions.h"

using namespace testing_service;

namespace {

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The message of the exception a GET with this reply raises.
std::string GetError(Reply reply) {
    TestServer server;
    server.Push(std::move(reply));
    TestClient client;
    EXPECT_TRUE(client.OpenConnection(server.Url16().c_str(), u"u", u"p", nullptr, nullptr));
    HTXREQUEST request;
    try {
        client.PrepareGETRequest(u"?GetApiInfo", request);
    } catch (const CKVException& e) {
        EXPECT_TRUE(request != nullptr); // handed out before the status was looked at
        return U8(e.GetMessageW());
    }
    return "no exception";
}

} // namespace

TEST(InternetClient, UrlIsSplitIntoHostPortAndPath) {
    LogRecorder log;
    TestClient client;
    CString error;
    // Four characters of host, a port counted in, are enough; three are not.
    EXPECT_TRUE(client.OpenConnection(u"http://abcd/x", u"", u"", &error, nullptr));
    EXPECT_EQ(CString(u"abcd"), client.GetHost());
    EXPECT_EQ(80, client.GetPort());
    EXPECT_EQ(CString(u"/x"), client.GetPath());
    EXPECT_TRUE(client.OpenConnection(u"http://a:81/", u"", u"", &error, nullptr));
    EXPECT_EQ(CString(u"a"), client.GetHost());
    EXPECT_EQ(81, client.GetPort());

    EXPECT_FALSE(client.OpenConnection(u"http://abc/x", u"", u"", &error, nullptr));
    EXPECT_EQ("Ошибка в URL сервиса (не указан каталог).", U8(error));
    EXPECT_FALSE(client.IsConnected());
    // No "/" behind the host, even with a query.
    EXPECT_FALSE(
        client.OpenConnection(u"http://host.example?GetApiInfo", u"", u"", &error, nullptr));
    EXPECT_EQ("Ошибка в URL сервиса (не указан каталог).", U8(error));
    EXPECT_FALSE(client.OpenConnection(u"host.example/x", u"", u"", &error, nullptr));
    EXPECT_EQ("Ошибка в URL сервиса (не указан протокол).", U8(error));

    // The scheme is matched without case; an explicit port replaces 443 and
    // keeps the secure flag; a port that is no number becomes 0.
    EXPECT_TRUE(client.OpenConnection(u"HTTPS://host/x", u"", u"", nullptr, nullptr));
    EXPECT_EQ(443, client.GetPort());
    EXPECT_EQ(0x800000u, client.GetRequestFlags());
    EXPECT_TRUE(client.OpenConnection(u"https://host:8443/x", u"", u"", nullptr, nullptr));
    EXPECT_EQ(8443, client.GetPort());
    EXPECT_EQ(0x800000u, client.GetRequestFlags());
    EXPECT_TRUE(client.OpenConnection(u"http://host:xyz/x", u"", u"", nullptr, nullptr));
    EXPECT_EQ(0, client.GetPort());
    EXPECT_EQ(0u, client.GetRequestFlags());
}

TEST(InternetClient, FailuresAreLoggedWithTheUrlCutBeforeTheAt) {
    LogRecorder log;
    TestClient client;
    CString error;
    EXPECT_FALSE(client.OpenConnection(u"user@host/x", u"", u"", &error, nullptr));
    const auto lines = log.With("Соединение закрыто.");
    ASSERT_EQ(1u, lines.size());
    EXPECT_NE(std::string::npos,
              lines[0].find("Соединение закрыто. Ошибка в URL сервиса (не указан протокол).. URL "
                            "сервиса: user"));
    EXPECT_EQ(std::string::npos, lines[0].find("host"));
    // The failure closes, and Close always says so.
    EXPECT_EQ(1u, log.With("Disconnecting web service").size());
    EXPECT_EQ(1u, log.With("Соединение с web-сервисом...").size());

    // The connection itself uses the whole URL.
    EXPECT_TRUE(client.OpenConnection(u"http://secret@example.org/x", u"", u"", nullptr, nullptr));
    EXPECT_EQ(CString(u"http://secret"), client.GetUrlForMessages());
    EXPECT_EQ(CString(u"secret@example.org"), client.GetHost());
    EXPECT_EQ(1u, log.With("Соединение с сервисом открыто.").size());
}

TEST(InternetClient, SecondConnectionKeepsTheFirstCredentials) {
    TestClient client;
    EXPECT_TRUE(client.OpenConnection(u"http://host1/x", u"first", u"p1", nullptr, nullptr));
    EXPECT_TRUE(client.OpenConnection(u"http://host2/x", u"second", u"p2", nullptr, nullptr));
    EXPECT_EQ(CString(u"first"), client.GetUser());
    EXPECT_EQ(CString(u"p1"), client.GetPassword());
    // Copies share the connection; closing one leaves the other's usable.
    TestClient copy(client);
    client.Close();
    EXPECT_FALSE(client.IsConnected());
    EXPECT_TRUE(copy.IsConnected());
}

TEST(InternetClient, StatusesOtherThan200RaiseTheTableText) {
    Reply noContent;
    noContent.status = 204;
    noContent.contentLength = false;
    EXPECT_EQ("Ошибка 204: Неопознанная ошибка.", GetError(noContent));
    Reply redirect;
    redirect.status = 302;
    redirect.headers = "Location: http://127.0.0.1:1/elsewhere\r\n";
    EXPECT_EQ("Ошибка 302: Неопознанная ошибка.", GetError(redirect));
    Reply timeout;
    timeout.status = 408;
    EXPECT_EQ("Ошибка 408: Превышено время ожидания..", GetError(timeout));
    Reply unknown;
    unknown.status = 599;
    unknown.body = "подробности";
    EXPECT_EQ("Ошибка 599: Неопознанная ошибка. подробности", GetError(unknown));
    Reply denied;
    denied.status = 401;
    denied.body = "{\"resultMsg\":\"bad token\"}";
    EXPECT_EQ("Ошибка 401: Ошибка авторизации. {\"resultMsg\":\"bad token\"}", GetError(denied));
    Reply unavailable;
    unavailable.status = 503;
    EXPECT_EQ("Ошибка 503: Сервис недоступен.", GetError(unavailable));
}

TEST(InternetClient, ProcessExceptionSeesTheBodyOfAFailedResponse) {
    TestServer server;
    server.Push(500, "упало");
    TestClient client;
    ASSERT_TRUE(client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr));
    HTXREQUEST request;
    EXPECT_THROW(client.PrepareGETRequest(u"?q", request), CKVException);
    EXPECT_EQ("упало", U8(client.lastException));
}

TEST(InternetClient, GetCarriesNoHeadersOfItsOwnAndAppendsTheSuffix) {
    TestServer server;
    server.Push(200, "ok");
    TestClient client;
    ASSERT_TRUE(client.OpenConnection(server.Url16("/api/v1").c_str(), u"", u"", nullptr, nullptr));
    HTXREQUEST request;
    client.PrepareGETRequest(u"?GetApiInfo", request);
    CString text;
    EXPECT_TRUE(client.GetResponseUTF8(request, text));
    EXPECT_EQ(CString(u"ok"), text);
    ASSERT_EQ(1u, server.RequestCount());
    EXPECT_EQ("GET /api/v1?GetApiInfo HTTP/1.1\r\n"
              "Host: 127.0.0.1:" +
                  std::to_string(server.Port()) +
                  "\r\n"
                  "User-Agent: Tarvex3dViewer\r\n"
                  "Accept: */*\r\n"
                  "Pragma: no-cache\r\n\r\n",
              server.Requests()[0].head);
}

TEST(InternetClient, PostSendsTheTextAsUtf8) {
    TestServer server;
    server.Push(200, "");
    TestClient client;
    ASSERT_TRUE(client.OpenConnection(server.Url16("/base/").c_str(), u"", u"", nullptr, nullptr));
    HTXREQUEST request;
    client.PreparePOSTRequest(u"X-Test: 1\r\n", u"тело <&>", request, u"/other");
    const auto requests = server.Requests();
    ASSERT_EQ(1u, requests.size());
    EXPECT_EQ("POST /other HTTP/1.1\r\n"
              "Host: 127.0.0.1:" +
                  std::to_string(server.Port()) +
                  "\r\n"
                  "User-Agent: Tarvex3dViewer\r\n"
                  "X-Test: 1\r\n"
                  "Accept: application/xml\r\n"
                  "Pragma: no-cache\r\n"
                  "Content-Length: 12\r\n\r\n",
              requests[0].head);
    EXPECT_EQ("тело <&>", requests[0].body);
}

TEST(InternetClient, ServerThatStallsTimesOutAfterTheTimeoutSetBeforeOpening) {
    TestServer server;
    Reply silent;
    silent.stallBeforeHeaders = true;
    server.Push(silent);
    server.Push(silent);
    TestClient client;
    client.SetReceiveTimeout(250);
    ASSERT_TRUE(client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr));
    // A change after opening waits for the next connection: 250 ms still hold.
    client.SetReceiveTimeout(60 * 60 * 1000);
    EXPECT_EQ(60u * 60 * 1000, client.GetReceiveTimeout());
    HTXREQUEST request;
    try {
        client.PrepareGETRequest(u"?GetApiInfo", request);
        ADD_FAILURE() << "no timeout";
    } catch (const CKVSysException& e) {
        EXPECT_EQ(0, U8(e.GetMessageW()).find("Ошибка отправки запроса.\nКод ошибки 0x6E"));
    }
}

TEST(InternetClient, SlowBodyThatKeepsMovingNeverTimesOut) {
    // The timeout counts silence, not the whole transfer: six bytes 100 ms
    // apart outlast a 300 ms timeout.
    TestServer server;
    Reply slow;
    slow.body = "abcdef";
    slow.dripPauseMs = 100;
    server.Push(slow);
    TestClient client;
    client.SetReceiveTimeout(300);
    ASSERT_TRUE(client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr));
    HTXREQUEST request;
    client.PrepareGETRequest(u"", request);
    CString text;
    EXPECT_TRUE(client.GetResponseUTF8(request, text));
    EXPECT_EQ(CString(u"abcdef"), text);
}

TEST(InternetClient, BodyStallingMidwayEndsTheReadWithWhatArrived) {
    TestServer server;
    Reply stall;
    stall.body = std::string(5000, 'x');
    stall.stallAtCut = true;
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 5000\r\nConnection: close\r\n\r\n";
    stall.cutAfter = head.size() + 3000;
    server.Push(stall);
    TestClient client;
    client.SetReceiveTimeout(250);
    ASSERT_TRUE(client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr));
    HTXREQUEST request;
    client.PrepareGETRequest(u"", request);
    CTXByteBuffer buffer;
    EXPECT_TRUE(client.GetResponseBytes(request, buffer));
    EXPECT_EQ(3000u, buffer.GetLength());
}

TEST(InternetClient, ReadsIntoBufferFileAndTextFollowTheBody) {
    LogRecorder log;
    TestServer server;
    Reply big;
    big.generatedSize = 300 * 1021 + 7; // not a multiple of any piece size
    server.Push(big);
    Reply cut;
    cut.body = std::string(70000, 'z');
    cut.cutAfter =
        std::string("HTTP/1.1 200 OK\r\nContent-Length: 70000\r\nConnection: close\r\n\r\n")
            .size() +
        40000;
    server.Push(cut);
    server.Push(200, "Привет, мир");
    Reply bom;
    bom.body = "\xEF\xBB\xBFтекст";
    server.Push(bom);

    TestClient client;
    ASSERT_TRUE(client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr));
    const auto dir = log.Root();

    HTXREQUEST request;
    client.PrepareGETRequest(u"", request);
    CTXByteBuffer buffer;
    buffer.Write("old", 3); // the body is appended
    ASSERT_TRUE(client.GetResponseBytes(request, buffer));
    ASSERT_EQ(3u + big.generatedSize, buffer.GetLength());
    bool same = true;
    for (std::uint64_t i = 0; i < big.generatedSize && same; ++i)
        same = buffer.AsVector()[3 + i] == static_cast<unsigned char>(GeneratedByte(i));
    EXPECT_TRUE(same);

    // A body shorter than its Content-Length still counts as read.
    client.PrepareGETRequest(u"", request);
    const auto file = dir / "файл.bin";
    std::filesystem::create_directories(dir);
    { std::ofstream(file) << std::string(100000, 'q'); } // truncated on download
    const std::string utf8Path = file.string();
    EXPECT_TRUE(client.GetResponseBytes(request, W(utf8Path).GetString()));
    const std::string written = ReadFile(file);
    EXPECT_EQ(std::string(40000, 'z'), written);

    client.PrepareGETRequest(u"", request);
    CString text;
    EXPECT_TRUE(client.GetResponseUTF8(request, text));
    EXPECT_EQ(CString(u"Привет, мир"), text);

    // Text keeps a byte order mark as a character: nothing strips it here.
    client.PrepareGETRequest(u"", request);
    text.Empty();
    EXPECT_TRUE(client.GetResponseUTF8(request, text));
    EXPECT_EQ(CString(u"\uFEFFтекст"), text);
}

TEST(InternetClient, FileThatCannotBeCreatedIsLoggedAndFalse) {
    LogRecorder log;
    TestServer server;
    server.Push(200, "data");
    server.Push(200, "data");
    TestClient client;
    ASSERT_TRUE(client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr));
    HTXREQUEST request;
    client.PrepareGETRequest(u"", request);
    const std::string missing = (log.Root() / "no/such/dir/file").string();
    EXPECT_FALSE(client.GetResponseBytes(request, W(missing).GetString()));
    EXPECT_EQ(1u, log.With("Ошибка создания файла: No such file or directory.").size());

    // A file that another holder locks exclusively can't be opened either.
    const auto locked = log.Root() / "locked";
    const int fd = ::open(locked.c_str(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(0, ::flock(fd, LOCK_EX));
    client.PrepareGETRequest(u"", request);
    EXPECT_FALSE(client.GetResponseBytes(request, W(locked.string()).GetString()));
    ::close(fd);
}

TEST(InternetClient, HttpsChecksTheCertificate) {
    TestServer server(true);
    server.Push(200, "secure");
    server.Push(200, "never");
    TestClient client;
    client.SetCertificateAuthorityFile(W(TestServer::CertificateFile()).GetString());
    ASSERT_TRUE(client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr));
    HTXREQUEST request;
    client.PrepareGETRequest(u"?x", request);
    CString text;
    EXPECT_TRUE(client.GetResponseUTF8(request, text));
    EXPECT_EQ(CString(u"secure"), text);

    // Without the test authority the certificate is refused before a request
    // is sent.
    TestClient untrusting;
    ASSERT_TRUE(untrusting.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr));
    EXPECT_THROW(untrusting.PrepareGETRequest(u"?x", request), CKVSysException);
    EXPECT_EQ(1u, server.RequestCount());
}

TEST(InternetClient, NobodyListeningFailsAtTheFirstRequestNotAtOpening) {
    int port;
    {
        TestServer gone;
        port = gone.Port();
    }
    TestClient client;
    const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/x";
    ASSERT_TRUE(client.OpenConnection(W(url).GetString(), u"", u"", nullptr, nullptr));
    HTXREQUEST request;
    EXPECT_THROW(client.PrepareGETRequest(u"", request), CKVSysException);
}

TEST(InternetClient, TextIsDecodedPieceByPieceOf20477Bytes) {
    // Two-byte letters from offset 0: the letter at 20476 falls across the
    // first two pieces and is lost as two replacement characters.
    std::string body;
    for (int i = 0; i < 12000; ++i) body += "я";
    TestServer server;
    server.Push(200, body);
    TestClient client;
    ASSERT_TRUE(client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr));
    HTXREQUEST request;
    client.PrepareGETRequest(u"", request);
    CString text;
    EXPECT_TRUE(client.GetResponseUTF8(request, text));
    CString expected(u'я', 10238);
    expected += u"\uFFFD\uFFFD";
    expected += CString(u'я', 12000 - 10239);
    EXPECT_EQ(expected, text);
}
