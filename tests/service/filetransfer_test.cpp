#include "tests/service/servicetest.h"

#include <fstream>

using namespace testing_service;
using namespace std::string_literals;
namespace fs = std::filesystem;

namespace {

void WriteFile(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

const char* kCreated = "{\"file\":\"created\",\"file_hash\":9223372036854775807}";

class TransferTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr));
        server.Push(200, "{\"session_token\":\"S\"}");
        ASSERT_TRUE(client.OpenDatabaseSession(u"d", u"l", u"p"));
    }
    std::vector<Request> Calls() const {
        auto requests = server.Requests();
        requests.erase(requests.begin()); // the login
        return requests;
    }

    LogRecorder log;
    TestServer server;
    TestClient client;
};

} // namespace

TEST_F(TransferTest, UploadSendsBeginDataAndEndWithTheSessionLine) {
    const fs::path file = log.Root() / "Отчёт №1.txt";
    const std::string content = "строка\n\x00\x01\xFF"s;
    WriteFile(file, content);
    server.Push(200, kCreated);
    server.Push(200, "ignored");
    server.Push(200, "");
    EXPECT_EQ(9223372036854775807ull, client.UploadFile(W(file.string()), 10));

    const auto calls = Calls();
    ASSERT_EQ(3u, calls.size());
    EXPECT_EQ("{\"file\":\"begin\", \"name\":\"Отчёт №1.txt\"}", calls[0].body);
    EXPECT_EQ("{\"file\":\"data\", \"file_hash\":9223372036854775807,\"file_part\":0, \"data\":\"" +
                  Base64(content) + "\"}",
              calls[1].body);
    EXPECT_EQ("{\"file\":\"end\", \"file_hash\":9223372036854775807}", calls[2].body);
    for (const auto& call : calls)
        EXPECT_EQ(ServiceHead(server, "/files/upload", call.body.size(), "session_token:S"),
                  call.head);
}

TEST_F(TransferTest, NegativeHashTravelsBackAsUnsigned) {
    const unsigned char data[] = {1, 2, 3};
    server.Push(200, "{\"file_hash\":-5,\"file\":\"created\"}");
    server.Push(200, "");
    server.Push(200, "");
    EXPECT_EQ(static_cast<std::uint64_t>(-5), client.UploadFile(u"n", data, 3));
    EXPECT_EQ("{\"file\":\"end\", \"file_hash\":18446744073709551611}", Calls()[2].body);
}

TEST_F(TransferTest, UploadStopsAtTheFirstRefusal) {
    const unsigned char data[] = {'x'};
    const char* begins[] = {"{\"file\":\"exists\",\"file_hash\":1}",
                            "{\"file\":\"created\",\"file_hash\":9223372036854775808}",
                            "{\"file\":\"created\",\"file_hash\":\"1\"}",
                            "{\"file\":\"created\"}",
                            "{\"file\":1,\"file_hash\":1}",
                            "\xEF\xBB\xBF"};
    for (const char* begin : begins) {
        server.Push(200, begin);
        EXPECT_EQ(0u, client.UploadFile(u"n", data, 1)) << begin;
    }
    EXPECT_EQ(std::size(begins), Calls().size());

    // A refused data part ends the upload with no end; a refused end gives 0.
    server.Push(200, kCreated);
    server.Push(500, "");
    EXPECT_EQ(0u, client.UploadFile(u"n", data, 1));
    server.Push(200, kCreated);
    server.Push(200, "");
    server.Push(401, "");
    EXPECT_EQ(0u, client.UploadFile(u"n", data, 1));
    EXPECT_EQ(std::size(begins) + 5, Calls().size());

    // Nothing to send: no request at all.
    EXPECT_EQ(0u, client.UploadFile(u"пусто", data, 0));
    EXPECT_EQ(0u, client.UploadFile(u"пусто", nullptr, 5));
    EXPECT_EQ(2u, log.With("CProjectServiceApi::UploadFile файл пусто пустой, отправка не имеет "
                           "смысла.")
                      .size());
    EXPECT_EQ(std::size(begins) + 5, Calls().size());
}

TEST_F(TransferTest, RetriesCountDownToZeroReadingTheFileAnew) {
    const fs::path file = log.Root() / "data.bin";
    WriteFile(file, "abc");
    for (int i = 0; i < 3; ++i) server.Push(503, "");
    EXPECT_EQ(0u, client.UploadFile(W(file.string()), 2));
    const auto lines = log.With("Ошибка отправки файла");
    ASSERT_EQ(3u, lines.size());
    const std::string prefix =
        "Ошибка отправки файла " + file.string() + " на сервер. Попыток осталось: ";
    EXPECT_NE(std::string::npos, lines[0].find(prefix + "2."));
    EXPECT_NE(std::string::npos, lines[1].find(prefix + "1."));
    EXPECT_NE(std::string::npos, lines[2].find(prefix + "0."));

    // 0 and negative counts make one attempt.
    server.Push(503, "");
    server.Push(503, "");
    EXPECT_EQ(0u, client.UploadFile(W(file.string()), 0));
    EXPECT_EQ(0u, client.UploadFile(W(file.string()), -3));
    EXPECT_EQ(5u, Calls().size());
    EXPECT_EQ(1u, log.With("Попыток осталось: -3.").size());

    // The second attempt succeeds.
    server.Push(500, "");
    server.Push(200, kCreated);
    server.Push(200, "");
    server.Push(200, "");
    EXPECT_EQ(9223372036854775807ull, client.UploadFile(W(file.string()), 10));
    EXPECT_EQ(1u, log.With("Попыток осталось: 10.").size());
}

TEST_F(TransferTest, EmptyFileRunsEveryAttemptAndUnreadableOneNone) {
    const fs::path empty = log.Root() / "empty.txt";
    WriteFile(empty, "");
    EXPECT_EQ(0u, client.UploadFile(W(empty.string()), 10));
    EXPECT_EQ(11u, log.With("файл empty.txt пустой, отправка не имеет смысла.").size());
    EXPECT_EQ(11u, log.With("Ошибка отправки файла").size());
    EXPECT_EQ(1u, log.With("Попыток осталось: 0.").size());

    const std::string missing = (log.Root() / "missing").string();
    EXPECT_EQ(0u, client.UploadFile(W(missing), 10));
    EXPECT_EQ(
        1u,
        log.With("CProjectServiceApi::UploadFile не удалось открыть файл " + missing + ".").size());
    // 4 GiB and more is refused as unreadable rather than cut to 32 bits
    // (a sparse file: nothing is written to the disk).
    const fs::path huge = log.Root() / "huge.bin";
    { std::ofstream(huge).flush(); }
    fs::resize_file(huge, std::uintmax_t{1} << 32);
    EXPECT_EQ(0u, client.UploadFile(W(huge.string()), 10));
    EXPECT_EQ(1u, log.With("не удалось открыть файл " + huge.string() + ".").size());
    // A folder can't be read as a file.
    EXPECT_EQ(0u, client.UploadFile(W(log.Root().string() + "/"), 10));
    EXPECT_EQ(11u, log.With("Ошибка отправки файла").size());
    EXPECT_TRUE(Calls().empty());
}

TEST_F(TransferTest, NameIsWhatFollowsTheLastSeparatorOfEitherKind) {
    const fs::path file = log.Root() / "dir\\имя.dat"; // a backslash inside a Linux name
    WriteFile(file, "z");
    server.Push(200, kCreated);
    server.Push(200, "");
    server.Push(200, "");
    EXPECT_NE(0u, client.UploadFile(W(file.string()), 0));
    EXPECT_EQ("{\"file\":\"begin\", \"name\":\"имя.dat\"}", Calls()[0].body);

    // A path ending in a backslash has no name: nothing is sent, no retry.
    const fs::path bare = log.Root() / "trail\\";
    WriteFile(bare, "z");
    EXPECT_EQ(0u, client.UploadFile(W(bare.string()), 10));
    EXPECT_EQ(3u, Calls().size());
    EXPECT_TRUE(log.With("Ошибка отправки файла").empty());
}

TEST_F(TransferTest, DownloadAppendsToTheBufferAndWritesFiles) {
    Reply file;
    file.generatedSize = 200000;
    server.Push(file);
    server.Push(file);
    server.Push(404, "нет такого");
    const fs::path target = log.Root() / "Загрузка.bin";

    CTXByteBuffer buffer;
    buffer.Write("head", 4);
    EXPECT_TRUE(client.DownloadFile(0xFFFFFFFFFFFFFFFFull, buffer));
    ASSERT_EQ(200004u, buffer.GetLength());
    EXPECT_EQ(0, std::memcmp(buffer.AsVector(), "head", 4));
    EXPECT_EQ(GeneratedByte(199999), static_cast<char>(buffer.AsVector()[200003]));

    EXPECT_TRUE(client.DownloadFile(7, W(target.string())));
    const std::string written = ReadFile(target);
    ASSERT_EQ(200000u, written.size());
    EXPECT_EQ(0, std::memcmp(written.data(), buffer.AsVector() + 4, written.size()));

    // Refused: false, the body unread, the buffer unchanged.
    EXPECT_FALSE(client.DownloadFile(8, buffer));
    EXPECT_EQ(200004u, buffer.GetLength());

    const auto calls = Calls();
    ASSERT_EQ(3u, calls.size());
    EXPECT_EQ("{\"file_hash\":18446744073709551615}", calls[0].body);
    EXPECT_EQ("{\"file_hash\":7}", calls[1].body);
    EXPECT_EQ(ServiceHead(server, "/files/download", calls[0].body.size(), "session_token:S"),
              calls[0].head);
}

TEST_F(TransferTest, DownloadCutShortStillAnswersTrue) {
    Reply cut;
    cut.generatedSize = 100000;
    cut.cutAfter =
        std::string("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\nConnection: close\r\n\r\n")
            .size() +
        12345;
    server.Push(cut);
    server.Push(cut);
    CTXByteBuffer buffer;
    EXPECT_TRUE(client.DownloadFile(1, buffer));
    EXPECT_EQ(12345u, buffer.GetLength());
    const fs::path target = log.Root() / "short.bin";
    EXPECT_TRUE(client.DownloadFile(1, W(target.string())));
    EXPECT_EQ(12345u, fs::file_size(target));
}

TEST_F(TransferTest, DownloadOverHttps) {
    TestServer secure(true);
    TestClient tls;
    tls.SetCertificateAuthorityFile(W(TestServer::CertificateFile()).GetString());
    ASSERT_TRUE(tls.OpenConnection(secure.Url16().c_str(), u"", u"", nullptr, nullptr));
    Reply file;
    file.generatedSize = 70000;
    secure.Push(file);
    CTXByteBuffer buffer;
    EXPECT_TRUE(tls.DownloadFile(3, buffer));
    EXPECT_EQ(70000u, buffer.GetLength());
    EXPECT_EQ("{\"file_hash\":3}", secure.Requests()[0].body);
}

// Large uploads run in process: the split is what matters, not the socket.
TEST(UploadParts, BoundaryOfTheBase64TextDecidesThePartCount) {
    auto transport = std::make_shared<MemoryTransport>();
    CProjectServiceApi client;
    client.SetTransport(transport);
    ASSERT_TRUE(client.OpenConnection(u"http://service.test/x", u"", u"", nullptr, nullptr));
    const std::uint64_t largest = 37748736; // base64 of exactly 50331648 characters
    std::unique_ptr<unsigned char[]> data(new unsigned char[largest]);
    std::memset(data.get(), 0xAB, largest);

    const std::pair<std::uint64_t, std::vector<std::size_t>> cases[] = {
        // The text fills one part exactly: an empty part 1 follows.
        {largest, {50331648, 0}},
        // The padding counts: two bytes fewer still give 50331648 characters.
        {largest - 2, {50331648, 0}},
        // One group of three fewer is the largest file sent in one part.
        {largest - 3, {50331644}},
    };
    for (const auto& [size, parts] : cases) {
        transport->seen.clear();
        transport->replies = {{200, "{\"file\":\"created\",\"file_hash\":42}"}};
        EXPECT_EQ(42u, client.UploadFile(u"big", data.get(), size));
        ASSERT_EQ(parts.size() + 2, transport->seen.size()) << size;
        for (std::size_t p = 0; p < parts.size(); ++p) {
            const auto& seen = transport->seen[p + 1];
            const std::string head =
                "{\"file\":\"data\", \"file_hash\":42,\"file_part\":" + std::to_string(p) +
                ", \"data\":\"";
            EXPECT_EQ(head.size() + parts[p] + 2, seen.bodySize) << size << " part " << p;
            EXPECT_EQ(0u, seen.bodyHead.find(head));
            EXPECT_EQ('}', seen.bodyTail.back());
            EXPECT_EQ("/files/upload", seen.object);
        }
        if (parts.back() == 0) {
            EXPECT_EQ("{\"file\":\"data\", \"file_hash\":42,\"file_part\":1, \"data\":\"\"}",
                      transport->seen[parts.size()].bodyHead);
        }
        EXPECT_EQ("{\"file\":\"end\", \"file_hash\":42}", transport->seen.back().bodyHead);
    }
}

TEST_F(TransferTest, LargePartIsTheExactBase64OfTheFile) {
    // Longer than the transport's buffers, and ending in a padded group.
    std::string content(3 * 1024 * 1024 + 2, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = GeneratedByte(i * 7);
    server.Push(200, "{\"file\":\"created\",\"file_hash\":12}");
    server.Push(200, "");
    server.Push(200, "");
    EXPECT_EQ(12u,
              client.UploadFile(u"big.bin", reinterpret_cast<const unsigned char*>(content.data()),
                                content.size()));
    const auto calls = Calls();
    ASSERT_EQ(3u, calls.size());
    EXPECT_TRUE(calls[1].body ==
                "{\"file\":\"data\", \"file_hash\":12,\"file_part\":0, \"data\":\"" +
                    Base64(content) + "\"}");
}
