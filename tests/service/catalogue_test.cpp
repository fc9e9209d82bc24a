#include "tests/service/servicetest.h"

#include <fstream>

#include <rapidjson/document.h>

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
    // A file on disk and the three replies of its upload with `hash`.
    CString File(const std::string& name, const std::string& hash) {
        const fs::path path = log.Root() / name;
        std::ofstream(path, std::ios::binary) << "content of " << name;
        server.Push(200, "{\"file\":\"created\",\"file_hash\":" + hash + "}");
        server.Push(200, "");
        server.Push(200, "");
        return W(path.string());
    }
    CString Missing() const { return W((log.Root() / "missing").string()); }
    // The last pushed command as "NAME=value;" in its order, then each child
    // as "[name#id]".
    std::string Pushed() const {
        const std::string body = server.Requests().back().body;
        rapidjson::Document document;
        document.Parse(body.c_str());
        EXPECT_TRUE(document.IsObject() && document.HasMember("command")) << body;
        if (!document.IsObject() || !document.HasMember("command")) return {};
        const rapidjson::Value& command = document["command"];
        std::string listed;
        if (command.HasMember("Parameters"))
            for (const auto& param : command["Parameters"].GetArray())
                listed +=
                    std::string(param["name"].GetString()) + "=" + param["value"].GetString() + ";";
        if (command.HasMember("Elements"))
            for (const auto& child : command["Elements"].GetArray())
                listed += "[" + std::string(child["name"].GetString()) + "#" +
                          std::to_string(child["id"].GetInt()) + "]";
        return listed;
    }

    LogRecorder log;
    TestServer server;
    TestClient client;
};

} // namespace

TEST_F(CatalogueTest, CommandsWithoutFiles) {
    for (int i = 1; i <= 4; ++i) server.Push(200, "{\"cmd_hash\":" + std::to_string(i) + "}");
    EXPECT_EQ(1u, client.CleanDatabase(u"База", u"Иван"));
    EXPECT_EQ(
        "{\"command\":{\"id\":0,\"name\":\"cmd\",\"Parameters\":[{\"name\":\"COMMAND_DB_NAME\","
        "\"value\":\"База\"},{\"name\":\"COMMAND_INFO\",\"value\":\"База:Иван\"},{\"name\":"
        "\"COMMAND_NAME\",\"value\":\"CleanObjects\"},{\"name\":\"NODE_TYPE\",\"value\":"
        "\"COMMAND\"}]}, \"mode\":\"async\"}",
        server.Requests().back().body);
    EXPECT_EQ(2u, client.Numerate(u"db", u"u", -3, u"TYPE=1"));
    EXPECT_EQ("COMMAND_DB_NAME=db;COMMAND_INFO=db:u;COMMAND_NAME=NumerateObjects;FILTER=TYPE=1;"
              "NODE_TYPE=COMMAND;REPLACE=-3;",
              Pushed());
    CIndirectArray<CString> profiles;
    EXPECT_EQ(3u, client.CollisionCheck(u"db", u"u", profiles));
    EXPECT_EQ("COMMAND_DB_NAME=db;COMMAND_INFO=db:u;COMMAND_NAME=CollisionCheck;NODE_TYPE=COMMAND;",
              Pushed());
    profiles.Add(new CString(u"трубы"));
    profiles.Add(nullptr);
    profiles.Add(new CString(u"стены"));
    EXPECT_EQ(4u, client.CollisionCheck(u"db", u"u", profiles));
    EXPECT_EQ("COMMAND_DB_NAME=db;COMMAND_INFO=db:u;COMMAND_NAME=CollisionCheck;NODE_TYPE=COMMAND;"
              "PROFILE_0=трубы;PROFILE_1=;PROFILE_2=стены;",
              Pushed());
}

TEST_F(CatalogueTest, SendMailUploadsEachFileAndStopsAtTheFirstFailure) {
    server.Push(200, "{\"cmd_hash\":1}");
    EXPECT_TRUE(client.SendMail(u"a@b", u"Тема", {}));
    EXPECT_EQ("COMMAND_INFO=Команда отправки почты;COMMAND_NAME=SendMail;MAIL_SUBJECT=Тема;"
              "MAIL_TO=a@b;NODE_TYPE=COMMAND;",
              Pushed());
    const CString first = File("one.txt", "4294967297");
    const CString second = File("two.txt", "-2");
    server.Push(200, "{\"cmd_hash\":0}");
    EXPECT_FALSE(client.SendMail(u"a@b", u"s", {first, second}));
    EXPECT_NE(std::string::npos, Pushed().find("FILE_HASH=1;-2;"));
    const std::size_t before = server.RequestCount();
    EXPECT_FALSE(client.SendMail(u"a@b", u"s", {Missing(), first}));
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
    EXPECT_NE(std::string::npos,
              server.Requests().back().body.find(
                  "\"Elements\":[{\"id\":1,\"name\":\"Модель\",\"Parameters\":"
                  "[{\"name\":\"P\",\"value\":\"1\"}],\"Elements\":[{\"id\":2,"
                  "\"name\":\"Деталь\",\"Elements\":[{\"id\":3,\"name\":\"x\"}]}]}]"));
    EXPECT_NE(std::string::npos, Pushed().find(";COMMAND_DB_USER_NAME=u;COMMAND_INFO=db:u;"));

    const CString rvm = File("model.rvm", "10");
    server.Push(200, "{\"cmd_hash\":6}");
    EXPECT_EQ(6u, client.ImportRVM(u"db", u"u", rvm, u"", nullptr));
    EXPECT_EQ("COMMAND_DB_NAME=db;COMMAND_DB_USER_NAME=u;COMMAND_INFO=db:u;COMMAND_NAME=ImportRVM;"
              "FILE_HASH=10;NODE_TYPE=COMMAND;",
              Pushed());
    const CString rvm2 = File("model2.rvm", "11");
    const CString attributes = File("model2.att", "12");
    server.Push(200, "{\"cmd_hash\":7}");
    EXPECT_EQ(7u, client.ImportRVM(u"db", u"u", rvm2, attributes, part));
    EXPECT_NE(std::string::npos, Pushed().find("FILE_HASH=11;12;NODE_TYPE=COMMAND;[Деталь#1]"));
    EXPECT_EQ(0u, client.ImportRVM(u"db", u"u", Missing(), attributes, nullptr));
}

TEST_F(CatalogueTest, CommitPublicationUploadsStatusThenSourceUnlessKeptLocally) {
    const CString status = File("status.xml", "-9");
    const CString source = File("source.dat", "9223372036854775807");
    server.Push(200, "{\"cmd_hash\":1}");
    CProjectServiceApi::HashArray depends;
    depends.Add(3);
    EXPECT_TRUE(client.CommitPublication(u"db", u"u", 12, u"{P}", source, u"{F}", status, 2, true,
                                         false, false, true, u"", &depends));
    const auto calls = server.Requests();
    ASSERT_EQ(8u, calls.size());
    EXPECT_NE(std::string::npos, calls[1].body.find("status.xml"));
    EXPECT_NE(std::string::npos, calls[4].body.find("source.dat"));
    EXPECT_NE(std::string::npos, calls[7].body.find("\"mode\":\"async\", \"depends\":[3]}"));
    // NODE_TYPE twice: set by the command and again by the push.
    EXPECT_EQ("BACKUP_POLICY=2;CHECK_IN_MODE=1;COMMAND_DB_NAME=db;COMMAND_DB_USER_NAME=u;"
              "COMMAND_INFO=db:u;COMMAND_NAME=CommitPublication;COMMAND_PUBLICATION_ID=12;"
              "KEEP_OPEN=0;NODE_TYPE=COMMAND;NODE_TYPE=COMMAND;SAVE_LOCALLY=0;"
              "SOURCE_FILE=9223372036854775807;STATUS_FILE=-9;UID_FILE={F};UID_PUBLICATION={P};",
              Pushed());

    const CString status2 = File("status2.xml", "4");
    server.Push(200, "{\"cmd_hash\":2}");
    EXPECT_TRUE(client.CommitPublication(u"db", u"u", 1, u"", u"C:\\src.dat", u"", status2, 0,
                                         false, true, true, false, u"{D}", nullptr));
    EXPECT_EQ(12u, server.RequestCount());
    EXPECT_NE(std::string::npos,
              Pushed().find("PUBLICATION_DATAUID={D};SAVE_LOCALLY=1;SOURCE_FILE_PATH=C:\\src.dat;"
                            "STATUS_FILE=4;UID_FILE=;"));
}

TEST_F(CatalogueTest, CommitPublicationLogsWhichUploadFailed) {
    const CString status = File("status.xml", "4");
    EXPECT_FALSE(client.CommitPublication(u"db", u"u", 1, u"", Missing(), u"", status, 0, false,
                                          false, false, false, u"", nullptr));
    EXPECT_FALSE(client.CommitPublication(u"db", u"u", 1, u"", u"", u"", Missing(), 0, false, false,
                                          true, false, u"", nullptr));
    EXPECT_EQ(4u, server.RequestCount());
    const std::string prefix = "CProjectServiceTX::CommitPublication не удалось отправить ";
    EXPECT_EQ(1u, log.With(prefix + "файл-источник").size());
    EXPECT_EQ(1u, log.With(prefix + "файл статуса").size());
}

TEST_F(CatalogueTest, SendPublicationDataUploadsFirst) {
    EXPECT_EQ(0u, client.SendPublicationData(u"{D}", u"db", u"u", 5, Missing(), false));
    EXPECT_EQ(1u, server.RequestCount());
    const CString file = File("data.bin", "33");
    server.Push(200, "{\"cmd_hash\":8}");
    EXPECT_EQ(8u, client.SendPublicationData(u"{D}", u"db", u"u", 5, file, true));
    EXPECT_EQ("COMMAND_DB_NAME=db;COMMAND_DB_USER_NAME=u;COMMAND_INFO=db:u;"
              "COMMAND_NAME=SendPublicationData;COMMAND_PUBLICATION_ID=5;FILE_HASH=33;"
              "NODE_TYPE=COMMAND;PUBLICATION_DATAUID={D};",
              Pushed());
}

TEST_F(CatalogueTest, MltFileResultsInTheirOrder) {
    const fs::path target = log.Root() / "out.mlt";
    const CString path = W(target.string());
    const std::uint64_t task = 0x123456789ABCDEFull;
    const auto result = [this](const std::string& params) {
        server.Push(200, "{\"id\":0,\"name\":\"r\",\"Parameters\":[" + params + "]}");
    };
    const std::string failed = "{\"name\":\"ERROR_COUNT\",\"value\":\"2\"}";
    const std::string file = "{\"name\":\"FILE_HASH\",\"value\":\"-4294967290\"}";
    CString message = u"untouched";
    server.Push(404, "");
    EXPECT_EQ(CProjectServiceApi::eAsyncPending, client.GetMLTFile(task, path, &message));
    EXPECT_EQ(CString(u"untouched"), message);
    result(failed + ",{\"name\":\"OUT_MESSAGE\",\"value\":\"Ошибка\"}," + file);
    EXPECT_EQ(CProjectServiceApi::eAsyncFailed, client.GetMLTFile(task, path, &message));
    EXPECT_EQ(CString(u"Ошибка"), message);
    result(failed);
    EXPECT_EQ(CProjectServiceApi::eAsyncFailed, client.GetMLTFile(task, path, &message));
    EXPECT_EQ(CString(u""), message);
    // Hashes show through a 32-bit format: the low half only.
    result("{\"name\":\"ERROR_COUNT\",\"value\":\"0\"}");
    EXPECT_EQ(CProjectServiceApi::eAsyncFailed, client.GetMLTFile(task, path, &message));
    EXPECT_EQ("Файл не был возвращён: задача 0x0000000089abcdef", U8(message));
    result(file);
    server.Push(500, "");
    EXPECT_EQ(CProjectServiceApi::eAsyncFailed, client.GetMLTFile(task, path, &message));
    EXPECT_EQ("Ошибка загрузки файла 0x0000000000000006; задача 0x0000000089abcdef", U8(message));
    result(file);
    server.Push(200, "MLT bytes");
    EXPECT_EQ(CProjectServiceApi::eAsyncDone, client.GetMLTFile(task, path, nullptr));
    EXPECT_EQ("{\"file_hash\":18446744069414584326}", server.Requests().back().body);
    std::ifstream in(target, std::ios::binary);
    EXPECT_EQ("MLT bytes", std::string(std::istreambuf_iterator<char>(in), {}));
    result("");
    EXPECT_EQ(CProjectServiceApi::eAsyncFailed, client.GetMLTFile(task, path, nullptr));
}
