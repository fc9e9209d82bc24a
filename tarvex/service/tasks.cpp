// Tasks and schedules: the command element, its push, its result, and the
// schedule calls.
#include <memory>

#include <rapidjson/document.h>

#include "tarvex/element/element.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/platform/wide.h"
#include "tarvex/service/elementwire_internal.h"
#include "tarvex/service/projectserviceapi.h"
#include "tarvex/service/servicewire_internal.h"
#include "tarvex/streams/bytebuffer.h"

using namespace tarvex::service;

namespace {

bool HasEntries(const CProjectServiceApi::HashArray* hashes) {
    return hashes && hashes->GetLength() > 0;
}

CString Decimal(std::int32_t value) {
    CString text;
    text.Format(u"%d", value);
    return text;
}

// NODE_TYPE "SCHEDULE" and the eight settings, all of them, also when empty.
void SetScheduleParameters(CElement& element, const CScheduleData& data) {
    element.SetParameter(u"NODE_TYPE", u"SCHEDULE");
    element.SetParameter(u"COMMAND_SCHEDULE_INFO", data.m_strInfo);
    element.SetParameter(u"COMMAND_SCHEDULE_PERIOD", Decimal(data.m_nPeriod));
    element.SetParameter(u"COMMAND_SCHEDULE_COUNT", Decimal(data.m_nCount));
    element.SetParameter(u"COMMAND_SCHEDULE_START_DATE", data.m_strStartDate);
    element.SetParameter(u"COMMAND_SCHEDULE_START_TIME", data.m_strStartTime);
    element.SetParameter(u"COMMAND_SCHEDULE_FINISH_DATE", data.m_strFinishDate);
    element.SetParameter(u"COMMAND_SCHEDULE_FINISH_TIME", data.m_strFinishTime);
    element.SetParameter(u"COMMAND_SCHEDULE_GROUP_HASH", data.m_strGroupHash);
}

void ReadScheduleParameters(const CElement& element, CScheduleData& data) {
    const auto text = [&element](const char16_t* name) {
        return CString(element.GetParameterValue(name, u""));
    };
    const auto number = [&element](const char16_t* name, std::int32_t missing) {
        const CParam* param = element.GetParameter(name);
        return param ? _wtoi(param->getstrValue()) : missing;
    };
    data.m_strInfo = text(u"COMMAND_SCHEDULE_INFO");
    data.m_nPeriod = number(u"COMMAND_SCHEDULE_PERIOD", 60);
    data.m_nCount = number(u"COMMAND_SCHEDULE_COUNT", -1);
    data.m_strStartDate = text(u"COMMAND_SCHEDULE_START_DATE");
    data.m_strStartTime = text(u"COMMAND_SCHEDULE_START_TIME");
    data.m_strFinishDate = text(u"COMMAND_SCHEDULE_FINISH_DATE");
    data.m_strFinishTime = text(u"COMMAND_SCHEDULE_FINISH_TIME");
    data.m_strGroupHash = text(u"COMMAND_SCHEDULE_GROUP_HASH");
}

std::string HashBody(std::uint64_t hash) {
    return "{\"cmd_hash\":" + std::to_string(hash);
}

} // namespace

std::uint64_t CProjectServiceApi::SendTask(const CParamsOwner& params, const HashArray* depends,
                                           const HashArray* fileHashes,
                                           const CScheduleData* schedule) {
    return SendCommand(params, nullptr, depends, fileHashes, schedule);
}

std::uint64_t CProjectServiceApi::SendCommand(const CParamsOwner& params, const CElement* child,
                                              const HashArray* depends, const HashArray* fileHashes,
                                              const CScheduleData* schedule) {
    const CParam* name = params.GetParameter(u"COMMAND_NAME");
    if (!name || name->getstrValue().IsEmpty()) return 0;

    CElement command(u"cmd");
    command.SetParameter(u"NODE_TYPE", u"COMMAND");
    for (const CParam* param : params.GetParams())
        if (param) command.AddParamCopy(param, false);
    if (HasEntries(fileHashes)) {
        // The service's format for these takes 32 bits: each hash goes as its
        // low half, signed.
        CString joined;
        for (int64_t i = 0; i < fileHashes->GetLength(); ++i)
            joined.AppendFormat(i ? u";%ld" : u"%ld", static_cast<std::int32_t>((*fileHashes)[i]));
        command.SetParameter(u"FILE_HASH", joined);
    }
    if (schedule) SetScheduleParameters(*command.AddChild(u"schedule"), *schedule);
    if (child) AddChildCopy(command, *child);

    std::string body = "{\"command\":";
    if (!AppendElementJson(command, CP_UTF8, body)) return 0;
    body += ", \"mode\":\"async\"";
    if (HasEntries(depends)) {
        body += ", \"depends\":[";
        for (int64_t i = 0; i < depends->GetLength(); ++i) {
            if (i) body += ',';
            body += std::to_string((*depends)[i]);
        }
        body += ']';
    }
    body += '}';

    const std::string auth = GetAuthHeader();
    CTXByteBuffer response;
    if (!PostRequest("/tasks/push", &auth, MakeBody(std::move(body)), &response)) return 0;
    rapidjson::Document document;
    std::uint64_t hash = 0;
    if (!ParseObject(response, document) || !HashMember(document, "cmd_hash", hash)) return 0;
    return hash;
}

bool CProjectServiceApi::GetTaskResult(std::uint64_t hash, CElement& element) {
    const std::string auth = GetAuthHeader();
    CTXByteBuffer response;
    if (!PostRequest("/tasks/result", &auth, MakeBody(HashBody(hash) + "}"), &response))
        return false;
    rapidjson::Document document;
    return ParseObject(response, document) && ReadElementJson(document, element);
}

bool CProjectServiceApi::RemoveTaskSchedule(std::uint64_t hash) {
    const std::string auth = GetAuthHeader();
    return PostRequest("/tasks/schedule/remove", &auth, MakeBody(HashBody(hash) + "}"), nullptr);
}

bool CProjectServiceApi::EditTaskSchedule(std::uint64_t hash, const CScheduleData& data) {
    CElement schedule(u"schedule");
    SetScheduleParameters(schedule, data);
    std::string body = HashBody(hash) + ",\"data\":";
    AppendElementJson(schedule, CP_UTF8, body); // flat: never too deep
    body += '}';
    const std::string auth = GetAuthHeader();
    return PostRequest("/tasks/schedule/edit", &auth, MakeBody(std::move(body)), nullptr);
}

bool CProjectServiceApi::GetTaskScheduleSettings(std::uint64_t hash, CScheduleData& data) {
    HTXREQUEST request;
    bool result = false;
    try {
        CString query;
        query.Format(u"?GetTaskScheduleSettings=%ld", static_cast<std::int32_t>(hash));
        PrepareGETRequest(query, request);
        CTXByteBuffer response;
        GetResponseBytes(request, response);
        rapidjson::Document document;
        CElement element(u"");
        if (ParseObject(response, document) && ReadElementJson(document, element)) {
            ReadScheduleParameters(element, data);
            result = true;
        }
    } catch (...) {
        // A refused or broken request is an answer of false, and no more.
    }
    request.reset();
    return result;
}

bool CProjectServiceApi::GetTaskScheduleGroupInfo(const CString& groupHash,
                                                  CIndirectArray<CTaskScheduleInfo>& tasks) {
    HTXREQUEST request;
    bool result = false;
    try {
        CString query;
        query.Format(u"?GetTaskScheduleGroupInfo=%s", groupHash);
        PrepareGETRequest(query, request);
        CTXByteBuffer response;
        GetResponseBytes(request, response);
        rapidjson::Document document;
        if (ParseObject(response, document)) {
            auto list = document.FindMember("deferredTasks");
            if (list != document.MemberEnd() && list->value.IsArray()) {
                for (const rapidjson::Value& entry : list->value.GetArray()) {
                    if (!entry.IsObject()) continue;
                    const rapidjson::Value* name = StringMember(entry, "name");
                    auto hash = entry.FindMember("hash");
                    if (!name || hash == entry.MemberEnd() || !hash->value.IsInt64()) continue;
                    const CString nameText = tarvex::FromUtf8(
                        std::string_view(name->GetString(), name->GetStringLength()));
                    const std::string hashText = std::to_string(hash->value.GetInt64());
                    const CString hashWide = tarvex::FromUtf8(hashText);
                    auto task = std::make_unique<CTaskScheduleInfo>(nameText, hashWide);
                    tasks.Add(task.get());
                    task.release();
                }
                result = true;
            }
        }
    } catch (...) {
        // As above: false, without a word.
    }
    request.reset();
    return result;
}
