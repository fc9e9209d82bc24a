#include "tests/service/servicetest.h"

#include "tarvex/element/element.h"
#include "tarvex/service/cmdbuilderutils.h"

using namespace testing_service;

namespace {

class TaskTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr));
        server.Push(200, "{\"session_token\":\"S\"}");
        ASSERT_TRUE(client.OpenDatabaseSession(u"d", u"l", u"p"));
    }
    // The requests after the login.
    std::vector<Request> Calls() const {
        auto requests = server.Requests();
        requests.erase(requests.begin());
        return requests;
    }
    static CParamsOwner Command(const char16_t* name) {
        CParamsOwner params;
        params.SetParameter(u"COMMAND_NAME", name);
        return params;
    }

    TestServer server;
    TestClient client;
};

constexpr const char* kDefaultSchedule =
    "{\"id\":1,\"name\":\"schedule\",\"Parameters\":[{\"name\":\"COMMAND_SCHEDULE_COUNT\","
    "\"value\":\"-1\"},{\"name\":\"COMMAND_SCHEDULE_FINISH_DATE\",\"value\":\"\"},{\"name\":"
    "\"COMMAND_SCHEDULE_FINISH_TIME\",\"value\":\"\"},{\"name\":\"COMMAND_SCHEDULE_GROUP_HASH\","
    "\"value\":\"\"},{\"name\":\"COMMAND_SCHEDULE_INFO\",\"value\":\"\"},{\"name\":"
    "\"COMMAND_SCHEDULE_PERIOD\",\"value\":\"60\"},{\"name\":\"COMMAND_SCHEDULE_START_DATE\","
    "\"value\":\"\"},{\"name\":\"COMMAND_SCHEDULE_START_TIME\",\"value\":\"\"},{\"name\":"
    "\"NODE_TYPE\",\"value\":\"SCHEDULE\"}]}";

} // namespace

TEST_F(TaskTest, PushSendsTheCommandElementWithFilesScheduleAndDependencies) {
    server.Push(200, "{\"cmd_hash\":9223372036854775807}");
    CParamsOwner params = Command(u"Экспорт");
    params.SetParameter(u"a", u"x\"y", u"comment", u"=1+1");
    CProjectServiceApi::HashArray depends, files;
    depends.Add(5);
    files.Add(0x100000001ull);
    files.Add(0xFFFFFFFFull);
    CScheduleData schedule;
    EXPECT_EQ(9223372036854775807ull, client.SendTask(params, &depends, &files, &schedule));

    const auto calls = Calls();
    ASSERT_EQ(1u, calls.size());
    // Hashes in FILE_HASH keep only their low, signed, 32 bits; comments
    // don't travel; the schedule is child 1 with every setting.
    const std::string body = "{\"command\":{\"id\":0,\"name\":\"cmd\",\"Parameters\":["
                             "{\"name\":\"a\",\"value\":\"x\\\"y\"},"
                             "{\"name\":\"COMMAND_NAME\",\"value\":\"Экспорт\"},"
                             "{\"name\":\"FILE_HASH\",\"value\":\"1;-1\"},"
                             "{\"name\":\"NODE_TYPE\",\"value\":\"COMMAND\"}],"
                             "\"Elements\":[" +
                             std::string(kDefaultSchedule) +
                             "]}, \"mode\":\"async\", \"depends\":[5]}";
    EXPECT_EQ(body, calls[0].body);
    EXPECT_EQ(ServiceHead(server, "/tasks/push", body.size(), "session_token:S"), calls[0].head);
}

TEST_F(TaskTest, PushWithoutNameOrWithEmptyArraysAndAGivenNodeType) {
    CParamsOwner unnamed;
    EXPECT_EQ(0u, client.SendTask(unnamed, nullptr, nullptr, nullptr));
    EXPECT_EQ(0u, client.SendTask(Command(u""), nullptr, nullptr, nullptr));
    EXPECT_EQ(1u, server.RequestCount()); // the login only
    server.Push(200, "{\"cmd_hash\":1}");
    server.Push(200, "{\"cmd_hash\":2}");
    CParamsOwner params = Command(u"C");
    params.SetParameter(u"node_type", u"OTHER");
    params.SetParameter(u"FILE_HASH", u"kept");
    CProjectServiceApi::HashArray empty, two;
    two.Add(1);
    two.Add(UINT64_MAX);
    EXPECT_EQ(1u, client.SendTask(params, &empty, &empty, nullptr));
    EXPECT_EQ(2u, client.SendTask(Command(u"C"), &two, nullptr, nullptr));

    const auto calls = Calls();
    ASSERT_EQ(2u, calls.size());
    EXPECT_EQ("{\"command\":{\"id\":0,\"name\":\"cmd\",\"Parameters\":["
              "{\"name\":\"COMMAND_NAME\",\"value\":\"C\"},"
              "{\"name\":\"FILE_HASH\",\"value\":\"kept\"},"
              "{\"name\":\"NODE_TYPE\",\"value\":\"COMMAND\"},"
              "{\"name\":\"node_type\",\"value\":\"OTHER\"}]}, \"mode\":\"async\"}",
              calls[0].body);
    EXPECT_NE(std::string::npos,
              calls[1].body.find("\"mode\":\"async\", \"depends\":[1,18446744073709551615]}"));
}

TEST_F(TaskTest, PushAnswersZeroForAnythingButASigned64BitHash) {
    const char* replies[] = {"{\"cmd_hash\":\"7\"}",
                             "{\"cmd_hash\":9223372036854775808}",
                             "{\"cmd_hash\":7.0}",
                             "{\"hash\":7}",
                             "{\"cmd_hash\":7",
                             "[7]",
                             ""};
    for (const char* reply : replies) server.Push(200, reply);
    server.Push(500, "{\"cmd_hash\":7}");
    server.Push(200, "\xEF\xBB\xBF{\"cmd_hash\":-2}");
    for (const char* reply : replies)
        EXPECT_EQ(0u, client.SendTask(Command(u"C"), nullptr, nullptr, nullptr)) << reply;
    EXPECT_EQ(0u, client.SendTask(Command(u"C"), nullptr, nullptr, nullptr));
    EXPECT_EQ(static_cast<std::uint64_t>(-2),
              client.SendTask(Command(u"C"), nullptr, nullptr, nullptr));
}

TEST_F(TaskTest, ResultReadsTheTreeAndPassesOverBadEntries) {
    server.Push(
        200, "{\"id\":7,\"name\":\"Результат\",\"extra\":[1],"
             "\"Parameters\":[{\"name\":\"OUT\",\"value\":\"да\"},"
             "{\"name\":\"N\",\"value\":5},{\"value\":\"v\"},3,"
             "{\"name\":\"KEEP\",\"value\":\"new\"}],"
             "\"Elements\":[{\"id\":8,\"name\":\"a\",\"Elements\":[{\"id\":9,\"name\":\"b\"}]},"
             "{\"id\":\"10\",\"name\":\"bad\",\"Parameters\":[{\"name\":\"X\",\"value\":\"1\"}]},"
             "\"text\",{\"id\":11,\"name\":\"c\",\"Elements\":{}}]}");
    CElement element(u"old");
    element.SetParameter(u"KEEP", u"old", u"comment", u"=formula");
    ASSERT_TRUE(client.GetTaskResult(0xFFFFFFFFFFFFFFFFull, element));

    const auto calls = Calls();
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ("{\"cmd_hash\":18446744073709551615}", calls[0].body);
    EXPECT_EQ(ServiceHead(server, "/tasks/result", calls[0].body.size(), "session_token:S"),
              calls[0].head);

    EXPECT_EQ(7, element.GetId());
    EXPECT_EQ(CString(u"Результат"), element.GetName());
    EXPECT_EQ(2, element.GetParamsCount());
    EXPECT_EQ(CString(u"да"), element.GetParameterValue(u"OUT", u"?"));
    const CParam* kept = element.GetParameter(u"KEEP");
    EXPECT_EQ(CString(u"new"), kept->getstrValue());
    EXPECT_TRUE(kept->getComment().IsEmpty());
    EXPECT_TRUE(kept->getValueComment().IsEmpty());

    // Every entry makes a child; those that fail to read stay empty.
    ASSERT_EQ(4, element.GetChildCount());
    EXPECT_EQ(CString(u"a"), element.GetChild(0)->GetName());
    EXPECT_EQ(8, element.GetChild(0)->GetId());
    ASSERT_EQ(1, element.GetChild(0)->GetChildCount());
    EXPECT_EQ(9, element.GetChild(0)->GetChild(0)->GetId());
    for (int i : {1, 2}) {
        EXPECT_EQ(CString(u""), element.GetChild(i)->GetName()) << i;
        EXPECT_EQ(0, element.GetChild(i)->GetParamsCount()) << i;
    }
    EXPECT_EQ(CString(u"c"), element.GetChild(3)->GetName());
    EXPECT_EQ(0, element.GetChild(3)->GetChildCount());
}

TEST_F(TaskTest, ResultWithoutIntegerIdOrStringNameLeavesTheElementAlone) {
    const char* replies[] = {
        "{\"id\":\"1\",\"name\":\"n\",\"Parameters\":[{\"name\":\"P\",\"value\":\"v\"}]}",
        "{\"id\":1.5,\"name\":\"n\"}",
        "{\"id\":1,\"name\":5}",
        "{\"name\":\"n\"}",
        "[{\"id\":1,\"name\":\"n\"}]",
        "{\"id\":1,\"name\":\"n\""};
    for (const char* reply : replies) server.Push(200, reply);
    server.Push(404, "{\"id\":1,\"name\":\"n\"}");
    CElement element(u"old");
    for (std::size_t i = 0; i <= std::size(replies); ++i) {
        EXPECT_FALSE(client.GetTaskResult(1, element)) << i;
        EXPECT_EQ(CString(u"old"), element.GetName());
        EXPECT_EQ(0, element.GetParamsCount());
    }
}

TEST_F(TaskTest, ResultDeeperThanTheLimitIsRefused) {
    const auto nested = [](int levels) {
        std::string text;
        for (int i = 0; i < levels; ++i)
            text += "{\"id\":" + std::to_string(i) + ",\"name\":\"e\",\"Elements\":[";
        for (int i = 0; i < levels; ++i) text += "]}";
        return text;
    };
    server.Push(200, nested(CCmdBuilderUtils::kMaxElementDepth));
    server.Push(200, nested(CCmdBuilderUtils::kMaxElementDepth + 1));
    CElement fits(u""), deep(u"");
    EXPECT_TRUE(client.GetTaskResult(1, fits));
    EXPECT_FALSE(client.GetTaskResult(1, deep));
    EXPECT_EQ(0, deep.GetChildCount());
    int levels = 1;
    for (const CElement* e = &fits; e->GetChildCount(); e = e->GetChild(0)) ++levels;
    EXPECT_EQ(CCmdBuilderUtils::kMaxElementDepth, levels);
}

TEST_F(TaskTest, ScheduleRemoveAndEditBodies) {
    server.Push(200, "ignored");
    server.Push(403, "");
    server.Push(200, "");
    EXPECT_TRUE(client.RemoveTaskSchedule(0x8000000000000000ull));
    EXPECT_FALSE(client.RemoveTaskSchedule(3));
    CScheduleData data;
    data.m_strInfo = u"Ночной \"запуск\"";
    data.m_nPeriod = 3600;
    data.m_nCount = 0;
    data.m_strStartDate = u"01.02.2026";
    data.m_strGroupHash = u"g1";
    EXPECT_TRUE(client.EditTaskSchedule(12, data));

    const auto calls = Calls();
    ASSERT_EQ(3u, calls.size());
    EXPECT_EQ("{\"cmd_hash\":9223372036854775808}", calls[0].body);
    EXPECT_EQ(
        ServiceHead(server, "/tasks/schedule/remove", calls[0].body.size(), "session_token:S"),
        calls[0].head);
    // The schedule is the root here: id 0.
    EXPECT_EQ(
        "{\"cmd_hash\":12,\"data\":{\"id\":0,\"name\":\"schedule\",\"Parameters\":[{\"name\":"
        "\"COMMAND_SCHEDULE_COUNT\",\"value\":\"0\"},{\"name\":\"COMMAND_SCHEDULE_FINISH_DATE\","
        "\"value\":\"\"},{\"name\":\"COMMAND_SCHEDULE_FINISH_TIME\",\"value\":\"\"},{\"name\":"
        "\"COMMAND_SCHEDULE_GROUP_HASH\",\"value\":\"g1\"},{\"name\":\"COMMAND_SCHEDULE_INFO\","
        "\"value\":\"Ночной \\\"запуск\\\"\"},{\"name\":\"COMMAND_SCHEDULE_PERIOD\",\"value\":"
        "\"3600\"},{\"name\":\"COMMAND_SCHEDULE_START_DATE\",\"value\":\"01.02.2026\"},{\"name\":"
        "\"COMMAND_SCHEDULE_START_TIME\",\"value\":\"\"},{\"name\":\"NODE_TYPE\",\"value\":"
        "\"SCHEDULE\"}]}}",
        calls[2].body);
    EXPECT_EQ(ServiceHead(server, "/tasks/schedule/edit", calls[2].body.size(), "session_token:S"),
              calls[2].head);
}

TEST_F(TaskTest, ScheduleSettingsAskByTheLow32BitsAndFillDefaults) {
    server.Push(200, "{\"id\":3,\"name\":\"schedule\",\"Parameters\":["
                     "{\"name\":\"COMMAND_SCHEDULE_INFO\",\"value\":\"Инфо\"},"
                     "{\"name\":\"COMMAND_SCHEDULE_PERIOD\",\"value\":\"15min\"},"
                     "{\"name\":\"COMMAND_SCHEDULE_START_TIME\",\"value\":\"10:00\"}]}");
    server.Push(200, "{\"id\":3,\"name\":\"s\",\"Parameters\":["
                     "{\"name\":\"COMMAND_SCHEDULE_COUNT\",\"value\":\"4\"}]}");
    CScheduleData data;
    data.m_nCount = 99;
    data.m_strFinishDate = u"stale";
    ASSERT_TRUE(client.GetTaskScheduleSettings(0x100000005ull, data));
    EXPECT_EQ(CString(u"Инфо"), data.m_strInfo);
    EXPECT_EQ(15, data.m_nPeriod);
    EXPECT_EQ(-1, data.m_nCount);
    EXPECT_EQ(CString(u"10:00"), data.m_strStartTime);
    EXPECT_TRUE(data.m_strFinishDate.IsEmpty());
    ASSERT_TRUE(client.GetTaskScheduleSettings(0xFFFFFFFFull, data));
    EXPECT_EQ(60, data.m_nPeriod);
    EXPECT_EQ(4, data.m_nCount);

    const auto calls = Calls();
    ASSERT_EQ(2u, calls.size());
    EXPECT_EQ(0u, calls[0].head.find("GET /svc/?GetTaskScheduleSettings=5 HTTP/1.1\r\n"));
    EXPECT_EQ(0u, calls[1].head.find("GET /svc/?GetTaskScheduleSettings=-1 HTTP/1.1\r\n"));
    EXPECT_EQ(std::string::npos, calls[0].head.find("Authorization"));
}

TEST_F(TaskTest, ScheduleGetsAnswerFalseForAnyFailure) {
    server.Push(500, "{\"id\":1,\"name\":\"s\"}");
    server.Push(200, "[]");
    server.Push(200, "{\"id\":\"1\",\"name\":\"s\"}");
    server.Push(401, "{\"deferredTasks\":[]}");
    server.Push(200, "{\"deferredTasks\":{}}");
    server.Push(200, "{\"tasks\":[]}");
    CScheduleData data;
    data.m_strInfo = u"kept";
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(client.GetTaskScheduleSettings(1, data)) << i;
    EXPECT_EQ(CString(u"kept"), data.m_strInfo);
    CIndirectArray<CTaskScheduleInfo> tasks;
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(client.GetTaskScheduleGroupInfo(u"g", tasks)) << i;
    EXPECT_EQ(0, tasks.GetLength());
}

TEST_F(TaskTest, ScheduleGroupAppendsGoodEntriesWithSignedHashes) {
    server.Push(200, "{\"deferredTasks\":[{\"name\":\"Задача\",\"hash\":-5},"
                     "{\"name\":\"big\",\"hash\":9223372036854775808},"
                     "{\"name\":\"text\",\"hash\":\"1\"},{\"hash\":2},7,"
                     "{\"name\":\"max\",\"hash\":9223372036854775807}]}");
    server.Push(200, "{\"deferredTasks\":[]}");
    CIndirectArray<CTaskScheduleInfo> tasks;
    tasks.Add(new CTaskScheduleInfo(u"earlier", u"1"));
    ASSERT_TRUE(client.GetTaskScheduleGroupInfo(u"abc", tasks));
    ASSERT_EQ(3, tasks.GetLength());
    EXPECT_EQ(CString(u"earlier"), tasks[0]->m_strName);
    EXPECT_EQ(CString(u"Задача"), tasks[1]->m_strName);
    EXPECT_EQ(CString(u"-5"), tasks[1]->m_strHash);
    EXPECT_EQ(CString(u"9223372036854775807"), tasks[2]->m_strHash);
    EXPECT_TRUE(client.GetTaskScheduleGroupInfo(u"", tasks));
    EXPECT_EQ(3, tasks.GetLength());

    const auto calls = Calls();
    EXPECT_EQ(0u, calls[0].head.find("GET /svc/?GetTaskScheduleGroupInfo=abc HTTP/1.1\r\n"));
    EXPECT_EQ(0u, calls[1].head.find("GET /svc/?GetTaskScheduleGroupInfo= HTTP/1.1\r\n"));
}
