// Feeds one HTTP response (status line, headers, body) to every service call:
// each request the client makes is answered with it, so the logins, probes,
// upload and download, tasks, schedules and commands all handle the same
// hostile bytes. A Content-Length
// that disagrees with the body cuts or starves the read, as a socket would.
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "tarvex/core/exceptions.h"
#include "tarvex/element/element.h"
#include "tarvex/service/cmdbuilderutils.h"
#include "tarvex/service/httptransport_internal.h"
#include "tarvex/service/projectserviceapi.h"
#include "tarvex/service/sspi.h"
#include "tarvex/streams/bytebuffer.h"

namespace {

struct Response {
    bool valid = false;
    int status = 0;
    std::string_view body;
    bool shortBody = false; // Content-Length promised more than arrived
};

Response ParseResponse(std::string_view raw) {
    Response response;
    if (raw.substr(0, 5) != "HTTP/") return response;
    const std::size_t space = raw.find(' ');
    if (space == std::string_view::npos || space + 4 > raw.size()) return response;
    for (std::size_t i = space + 1; i < space + 4; ++i) {
        if (raw[i] < '0' || raw[i] > '9') return response;
        response.status = response.status * 10 + (raw[i] - '0');
    }
    const std::size_t end = raw.find("\r\n\r\n");
    if (end == std::string_view::npos) return response;
    response.valid = true;
    response.body = raw.substr(end + 4);
    const std::string_view headers = raw.substr(0, end);
    const std::size_t length = headers.find("\r\nContent-Length: ");
    if (length != std::string_view::npos) {
        std::uint64_t value = 0;
        for (std::size_t i = length + 18;
             i < headers.size() && headers[i] >= '0' && headers[i] <= '9'; ++i)
            value = value * 10 + static_cast<std::uint64_t>(headers[i] - '0');
        if (value < response.body.size()) response.body = response.body.substr(0, value);
        response.shortBody = value > response.body.size();
    }
    return response;
}

class CannedRequest final : public CTXHttpRequest {
public:
    explicit CannedRequest(const Response& response) : m_response(response) {}
    bool Send(std::string_view, std::string_view) override { return m_response.valid; }
    int QueryStatus() const override { return m_response.valid ? m_response.status : 0; }
    bool Read(void* buffer, std::uint32_t size, std::uint32_t& count) override {
        const std::size_t left = m_response.body.size() - m_at;
        count = static_cast<std::uint32_t>(left < size ? left : size);
        std::memcpy(buffer, m_response.body.data() + m_at, count);
        m_at += count;
        return count > 0 || !m_response.shortBody;
    }

private:
    const Response& m_response;
    std::size_t m_at = 0;
};

class CannedTransport final : public CTXHttpTransport {
public:
    explicit CannedTransport(const Response& response) : m_response(response) {}
    std::unique_ptr<CTXHttpRequest> OpenRequest(const CTXRequestTarget&) override {
        return std::make_unique<CannedRequest>(m_response);
    }

private:
    const Response& m_response;
};

// Always has a token to give, so both legs of the Windows login run.
class EagerPackage final : public INegotiatePackage {
public:
    SECURITY_STATUS AcquireCredentials(std::uint32_t) override { return SEC_E_OK; }
    SECURITY_STATUS InitializeContext(const char*, const void*, std::uint32_t, void* output,
                                      std::uint32_t& outLength) override {
        if (outLength < 5) return SEC_E_BUFFER_TOO_SMALL;
        std::memcpy(output, "token", 5);
        outLength = 5;
        return SEC_I_CONTINUE_NEEDED;
    }
    SECURITY_STATUS AcceptContext(const void*, std::uint32_t, bool, void*,
                                  std::uint32_t&) override {
        return SEC_E_INTERNAL_ERROR;
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Response response =
        ParseResponse(std::string_view(reinterpret_cast<const char*>(data), size));
    CProjectServiceCommon client;
    client.SetTransport(std::make_shared<CannedTransport>(response));
    client.SetNegotiatePackageFactory([] { return std::make_shared<EagerPackage>(); });
    if (!client.OpenConnection(u"http://fuzz.test/api/", u"user", u"pw", nullptr, nullptr))
        __builtin_trap();

    // Only the expected failures may come out: false, 0, or an error text.
    client.OpenDatabaseSession(u"db", u"user", u"pw");
    client.OpenWindowsSession();
    CString text;
    client.ConnectionIsValid(text);
    client.DatabaseConnectionIsPossible(u"db");
    const unsigned char file[] = {'a', 'b', 'c', 'd'};
    client.UploadFile(u"name", file, sizeof file);
    CTXByteBuffer buffer;
    client.DownloadFile(1, buffer);
    if (buffer.GetLength() > response.body.size()) __builtin_trap();

    CParamsOwner params;
    params.SetParameter(u"COMMAND_NAME", u"fuzz");
    CProjectServiceApi::HashArray hashes;
    hashes.Add(1);
    hashes.Add(UINT64_MAX);
    CScheduleData schedule;
    client.SendTask(params, &hashes, &hashes, &schedule);
    CElement result(u"result");
    // Whatever a result brings in must go out again: the two depth limits agree.
    if (client.GetTaskResult(2, result) &&
        CCmdBuilderUtils::CElementToJsonStringUtf8(result).empty())
        __builtin_trap();
    client.RemoveTaskSchedule(3);
    client.EditTaskSchedule(4, schedule);
    client.GetTaskScheduleSettings(5, schedule);
    CIndirectArray<CTaskScheduleInfo> tasks;
    client.GetTaskScheduleGroupInfo(u"group", tasks);
    client.ExportMLT(u"db", u"user", &result);
    client.CleanDatabase(u"db", u"user");
    CString message;
    const auto state = client.GetMLTFile(6, u"/dev/null", &message);
    if (state != CProjectServiceApi::eAsyncFailed && state != CProjectServiceApi::eAsyncDone &&
        state != CProjectServiceApi::eAsyncPending)
        __builtin_trap();

    CString error;
    client.OpenSession(u"http://fuzz.test/api/", u"", u"", u"db", &error);
    return 0;
}
