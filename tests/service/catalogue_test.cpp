#include "tests/service/servicetest.h"

#include <fstream>

#include "tarvex/element/element.h"

using namespace testing_service;
namespace fs = std::filesystem;

namespace {

class CatalogueTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr));
        server.Push(200, "{\"session_token\":\"S\"}");
        ASSERT_TRUE(client.OpenDatabaseSession(u"d", u"l", u"p"));
    }
    std::vector<Request> Calls() const {
        auto requests = server.Requests();
        requests.erase(requests.begin());
        return requests;
    }
    // A file on disk and the three replies of its upload with `hash`.
    CString File(const std::string& name, const std::string& hash) {
        const fs::path path = log.Root() / name;
        std::ofstream(path, std::ios::binary) << "content of " << name;
        server.Push(200, "{\"file\":\"created\",\"file_hash\":" + hash + "}");
        server.Push(200, "");
        server.Push(200, "");
        return W(path.string());
    }
    // The parameters of the last pushed command, read back from its body.
    CElement Pushed() const {
        const std::string body = Calls().back().body;
        EXPECT_EQ(0u, body.find("{\"command\":"));
        // The command travels in the result element's form: read it so.
        CElement element(u"");
        TestServer echo;
        echo.Push(200, body.substr(11, body.rfind(", \"mode\"") - 11));
        CProjectServiceCommon reader;
        EXPECT_TRUE(reader.OpenConnection(echo.Url16().c_str(), u"", u"", nullptr, nullptr));
        EXPECT_TRUE(reader.GetTaskResult(0, element));
        return element;
    }

    LogRecorder log;
    TestServer server;
    TestClient client;
};

} // namespace

TEST_F(CatalogueTest, CommandsWithoutFilesNameTheirCommandAndDatabase) {
    for (int i = 0; i < 4; ++i) server.Push(200, "{\"cmd_hash\":" + std::to_string(i + 1) + "}");
    EXPECT_EQ(1u, client.CleanDatabase(u"База", u"Иван"));
    EXPECT_EQ("{\"command\":{\"id\":0,\"name\":\"cmd\",\"Parameters\":["
              "{\"name\":\"COMMAND_DB_NAME\",\"value\":\"База\"},"
              "{\"name\":\"COMMAND_INFO\",\"value\":\"База:Иван\"},"
              "{\"name\":\"COMMAND_NAME\",\"value\":\"CleanObjects\"},"
              "{\"name\":\"NODE_TYPE\",\"value\":\"COMMAND\"}]}, \"mode\":\"async\"}",
              Calls().back().body);

    EXPECT_EQ(2u, client.Numerate(u"db", u"u", -3, u"TYPE=1"));
    CElement numerate = Pushed();
    EXPECT_EQ(CString(u"NumerateObjects"), numerate.GetParameterValue(u"COMMAND_NAME", u""));
    EXPECT_EQ(CString(u"-3"), numerate.GetParameterValue(u"REPLACE", u""));
    EXPECT_EQ(CString(u"TYPE=1"), numerate.GetParameterValue(u"FILTER", u""));
    EXPECT_FALSE(numerate.HasParameter(u"COMMAND_DB_USER_NAME"));

    CIndirectArray<CString> profiles;
    EXPECT_EQ(3u, client.CollisionCheck(u"db", u"u", profiles));
    EXPECT_EQ(4, Pushed().GetParamsCount());
    profiles.Add(new CString(u"трубы"));
    profiles.Add(nullptr);
    profiles.Add(new CString(u"стены"));
    EXPECT_EQ(4u, client.CollisionCheck(u"db", u"u", profiles));
    CElement check = Pushed();
    EXPECT_EQ(CString(u"трубы"), check.GetParameterValue(u"PROFILE_0", u"?"));
    EXPECT_EQ(CString(u""), check.GetParameterValue(u"PROFILE_1", u"?"));
    EXPECT_EQ(CString(u"стены"), check.GetParameterValue(u"PROFILE_2", u"?"));
}

TEST_F(CatalogueTest, SendMailUploadsEachFileAndFailsOnTheFirstRefusal) {
    server.Push(200, "{\"cmd_hash\":1}");
    EXPECT_TRUE(client.SendMail(u"a@b", u"Тема", {}));
    CElement mail = Pushed();
    EXPECT_EQ(CString(u"Команда отправки почты"), mail.GetParameterValue(u"COMMAND_INFO", u""));
    EXPECT_EQ(CString(u"a@b"), mail.GetParameterValue(u"MAIL_TO", u""));
    EXPECT_EQ(CString(u"Тема"), mail.GetParameterValue(u"MAIL_SUBJECT", u""));
    EXPECT_FALSE(mail.HasParameter(u"COMMAND_DB_NAME"));
    EXPECT_FALSE(mail.HasParameter(u"FILE_HASH"));

    const CString first = File("one.txt", "4294967297");
    const CString second = File("two.txt", "-2");
    server.Push(200, "{\"cmd_hash\":0}");
    EXPECT_FALSE(client.SendMail(u"a@b", u"s", {first, second}));
    EXPECT_EQ(CString(u"1;-2"), Pushed().GetParameterValue(u"FILE_HASH", u""));

    const std::size_t before = server.RequestCount();
    EXPECT_FALSE(client.SendMail(u"a@b", u"s", {W((log.Root() / "missing").string())}));
    EXPECT_EQ(before, server.RequestCount());
}

TEST_F(CatalogueTest, ImportAndExportCarryTheElementAsAChildWithNewIds) {
    CElement model(u"Модель");
    model.SetId(40);
    model.SetParameter(u"P", u"1", u"comment");
    CElement* part = model.AddChild(u"Деталь");
    part->SetId(77);
    part->AddChild(u"x");
    server.Push(200, "{\"cmd_hash\":5}");
    EXPECT_EQ(5u, client.ExportMLT(u"db", u"u", &model));
    CElement exported = Pushed();
    EXPECT_EQ(CString(u"u"), exported.GetParameterValue(u"COMMAND_DB_USER_NAME", u""));
    ASSERT_EQ(1, exported.GetChildCount());
    const CElement* copy = exported.GetChild(0);
    EXPECT_EQ(CString(u"Модель"), copy->GetName());
    EXPECT_EQ(1, copy->GetId());
    EXPECT_EQ(CString(u"1"), copy->GetParameterValue(u"P", u""));
    ASSERT_EQ(1, copy->GetChildCount());
    EXPECT_EQ(2, copy->GetChild(0)->GetId());
    EXPECT_EQ(3, copy->GetChild(0)->GetChild(0)->GetId());

    const CString rvm = File("model.rvm", "10");
    server.Push(200, "{\"cmd_hash\":6}");
    EXPECT_EQ(6u, client.ImportRVM(u"db", u"u", rvm, u"", nullptr));
    CElement imported = Pushed();
    EXPECT_EQ(CString(u"ImportRVM"), imported.GetParameterValue(u"COMMAND_NAME", u""));
    EXPECT_EQ(CString(u"10"), imported.GetParameterValue(u"FILE_HASH", u""));
    EXPECT_EQ(0, imported.GetChildCount());

    const CString rvm2 = File("model2.rvm", "11");
    const CString attributes = File("model2.att", "12");
    server.Push(200, "{\"cmd_hash\":7}");
    EXPECT_EQ(7u, client.ImportRVM(u"db", u"u", rvm2, attributes, part));
    CElement both = Pushed();
    EXPECT_EQ(CString(u"11;12"), both.GetParameterValue(u"FILE_HASH", u""));
    ASSERT_EQ(1, both.GetChildCount());
    EXPECT_EQ(CString(u"Деталь"), both.GetChild(0)->GetName());
}

TEST_F(CatalogueTest, CommitPublicationUploadsStatusThenSourceUnlessKeptLocally) {
    const CString status = File("status.xml", "-9");
    const CString source = File("source.dat", "9223372036854775807");
    server.Push(200, "{\"cmd_hash\":1}");
    CProjectServiceApi::HashArray depends;
    depends.Add(3);
    CProjectServiceTX& tx = client;
    EXPECT_TRUE(tx.CommitPublication(u"db", u"u", 12, u"{P}", source, u"{F}", status, 2, true,
                                     false, false, true, u"", &depends));
    const auto calls = Calls();
    ASSERT_EQ(7u, calls.size());
    EXPECT_NE(std::string::npos, calls[0].body.find("status.xml"));
    EXPECT_NE(std::string::npos, calls[3].body.find("source.dat"));
    EXPECT_NE(std::string::npos, calls[6].body.find("\"depends\":[3]}"));
    // NODE_TYPE twice: set here and again by the push.
    const std::string& pushed = calls[6].body;
    EXPECT_NE(pushed.find("\"NODE_TYPE\""), pushed.rfind("\"NODE_TYPE\""));
    CElement commit = Pushed();
    EXPECT_EQ(CString(u"-9"), commit.GetParameterValue(u"STATUS_FILE", u""));
    EXPECT_EQ(CString(u"9223372036854775807"), commit.GetParameterValue(u"SOURCE_FILE", u""));
    EXPECT_EQ(CString(u"0"), commit.GetParameterValue(u"SAVE_LOCALLY", u""));
    EXPECT_EQ(CString(u"1"), commit.GetParameterValue(u"CHECK_IN_MODE", u""));
    EXPECT_EQ(CString(u"0"), commit.GetParameterValue(u"KEEP_OPEN", u""));
    EXPECT_EQ(CString(u"2"), commit.GetParameterValue(u"BACKUP_POLICY", u""));
    EXPECT_EQ(CString(u"12"), commit.GetParameterValue(u"COMMAND_PUBLICATION_ID", u""));
    EXPECT_EQ(CString(u"{P}"), commit.GetParameterValue(u"UID_PUBLICATION", u""));
    EXPECT_EQ(CString(u"{F}"), commit.GetParameterValue(u"UID_FILE", u""));
    EXPECT_FALSE(commit.HasParameter(u"SOURCE_FILE_PATH"));
    EXPECT_FALSE(commit.HasParameter(u"PUBLICATION_DATAUID"));
    EXPECT_FALSE(commit.HasParameter(u"FILE_HASH"));

    const CString status2 = File("status2.xml", "4");
    server.Push(200, "{\"cmd_hash\":2}");
    EXPECT_TRUE(tx.CommitPublication(u"db", u"u", 1, u"", u"C:\\local\\src.dat", u"", status2, 0,
                                     false, true, true, false, u"{D}", nullptr));
    EXPECT_EQ(7u + 4u, Calls().size());
    CElement local = Pushed();
    EXPECT_EQ(CString(u"1"), local.GetParameterValue(u"SAVE_LOCALLY", u""));
    EXPECT_EQ(CString(u"C:\\local\\src.dat"), local.GetParameterValue(u"SOURCE_FILE_PATH", u""));
    EXPECT_EQ(CString(u"{D}"), local.GetParameterValue(u"PUBLICATION_DATAUID", u""));
    EXPECT_FALSE(local.HasParameter(u"SOURCE_FILE"));
}

TEST_F(CatalogueTest, CommitPublicationLogsWhichUploadFailed) {
    const CString status = File("status.xml", "4");
    const std::size_t before = server.RequestCount();
    EXPECT_FALSE(client.CommitPublication(u"db", u"u", 1, u"", W((log.Root() / "nope").string()),
                                          u"", status, 0, false, false, false, false, u"",
                                          nullptr));
    EXPECT_EQ(before + 3, server.RequestCount());
    EXPECT_EQ(1u, log.With("CProjectServiceTX::CommitPublication не удалось отправить "
                           "файл-источник")
                      .size());
    EXPECT_FALSE(client.CommitPublication(u"db", u"u", 1, u"", u"", u"", u"", 0, false, false, true,
                                          false, u"", nullptr));
    EXPECT_EQ(1u, log.With("CProjectServiceTX::CommitPublication не удалось отправить файл "
                           "статуса")
                      .size());
    EXPECT_EQ(before + 3, server.RequestCount());
}

TEST_F(CatalogueTest, SendPublicationDataUploadsFirst) {
    EXPECT_EQ(0u, client.SendPublicationData(u"{D}", u"db", u"u", 5,
                                             W((log.Root() / "none").string()), false));
    EXPECT_EQ(1u, server.RequestCount());
    const CString file = File("data.bin", "33");
    server.Push(200, "{\"cmd_hash\":8}");
    EXPECT_EQ(8u, client.SendPublicationData(u"{D}", u"db", u"u", 5, file, true));
    CElement sent = Pushed();
    EXPECT_EQ(CString(u"SendPublicationData"), sent.GetParameterValue(u"COMMAND_NAME", u""));
    EXPECT_EQ(CString(u"33"), sent.GetParameterValue(u"FILE_HASH", u""));
    EXPECT_EQ(CString(u"{D}"), sent.GetParameterValue(u"PUBLICATION_DATAUID", u""));
    EXPECT_EQ(CString(u"5"), sent.GetParameterValue(u"COMMAND_PUBLICATION_ID", u""));
    EXPECT_EQ(CString(u"u"), sent.GetParameterValue(u"COMMAND_DB_USER_NAME", u""));
}

TEST_F(CatalogueTest, MltFileResultsInTheirOrder) {
    const fs::path target = log.Root() / "out.mlt";
    const CString path = W(target.string());
    const std::uint64_t task = 0x123456789ABCDEFull;
    CString message = u"untouched";
    // No result yet.
    server.Push(404, "");
    EXPECT_EQ(CProjectServiceApi::eAsyncPending, client.GetMLTFile(task, path, &message));
    EXPECT_EQ(CString(u"untouched"), message);
    // A failed task, with and without its message.
    server.Push(200,
                "{\"id\":0,\"name\":\"r\",\"Parameters\":[{\"name\":\"ERROR_COUNT\",\"value\":"
                "\"2\"},{\"name\":\"OUT_MESSAGE\",\"value\":\"Ошибка\"},{\"name\":\"FILE_HASH\","
                "\"value\":\"5\"}]}");
    server.Push(200, "{\"id\":0,\"name\":\"r\",\"Parameters\":[{\"name\":\"ERROR_COUNT\",\"value\":"
                     "\"1\"}]}");
    EXPECT_EQ(CProjectServiceApi::eAsyncFailed, client.GetMLTFile(task, path, &message));
    EXPECT_EQ(CString(u"Ошибка"), message);
    EXPECT_EQ(CProjectServiceApi::eAsyncFailed, client.GetMLTFile(task, path, &message));
    EXPECT_EQ(CString(u""), message);
    // No file: hashes show through a 32-bit format.
    server.Push(200, "{\"id\":0,\"name\":\"r\",\"Parameters\":[{\"name\":\"ERROR_COUNT\",\"value\":"
                     "\"0\"}]}");
    EXPECT_EQ(CProjectServiceApi::eAsyncFailed, client.GetMLTFile(task, path, &message));
    EXPECT_EQ("Файл не был возвращён: задача 0x0000000089abcdef", U8(message));
    // The download refused, then done; without ERROR_COUNT it goes on too.
    const char* withFile =
        "{\"id\":0,\"name\":\"r\",\"Parameters\":[{\"name\":\"FILE_HASH\",\"value\":"
        "\"-4294967290\"}]}";
    server.Push(200, withFile);
    server.Push(500, "");
    EXPECT_EQ(CProjectServiceApi::eAsyncFailed, client.GetMLTFile(task, path, &message));
    EXPECT_EQ("Ошибка загрузки файла 0x0000000000000006; задача 0x0000000089abcdef", U8(message));
    server.Push(200, withFile);
    server.Push(200, "MLT bytes");
    EXPECT_EQ(CProjectServiceApi::eAsyncDone, client.GetMLTFile(task, path, nullptr));
    std::ifstream in(target, std::ios::binary);
    EXPECT_EQ("MLT bytes", std::string(std::istreambuf_iterator<char>(in), {}));
    const auto calls = Calls();
    EXPECT_EQ("{\"file_hash\":18446744069414584326}", calls.back().body);
    // Without a message pointer the answers are the same.
    server.Push(200, "{\"id\":0,\"name\":\"r\"}");
    EXPECT_EQ(CProjectServiceApi::eAsyncFailed, client.GetMLTFile(task, path, nullptr));
}
