// Shared pieces of the service tests: a client that opens its protected
// calls, a log recorder, a scripted Negotiate package and an in-process
// transport for bodies too large to be worth a socket.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <filesystem>
#include <string>
#include <vector>

#include "tarvex/core/hostui.h"
#include "tarvex/core/log.h"
#include "tarvex/core/paths.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/service/httptransport_internal.h"
#include "tarvex/service/projectserviceapi.h"
#include "tarvex/service/sspi.h"
#include "tarvex/streams/base64.h"
#include "tarvex/streams/bytebuffer.h"
#include "tests/service/testserver.h"

namespace testing_service {

inline std::string U8(const char16_t* text) {
    return tarvex::ToUtf8(std::u16string_view(text));
}
inline CString W(const std::string& text) {
    return tarvex::FromUtf8(text);
}
inline std::string Base64(const std::string& bytes) {
    std::string out(CFastBase64::chromium_base64_encode_length(bytes.size()), '\0');
    out.resize(CFastBase64::chromium_base64_encode(out.data(), bytes.data(), bytes.size()));
    return out;
}

// The exact head of a service POST.
inline std::string ServiceHead(const TestServer& server, const std::string& object,
                               std::size_t length, const std::string& auth = "") {
    return "POST " + object + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server.Port()) +
           "\r\nUser-Agent: Tarvex3dViewer\r\nAccept: */*\r\n"
           "Content-Type: application/json; charset=utf-8\r\nConnection: Close\r\n" +
           (auth.empty() ? "" : "Authorization: " + auth + "\r\n") +
           "Pragma: no-cache\r\nContent-Length: " + std::to_string(length) + "\r\n\r\n";
}

class TestClient : public CProjectServiceTX {
public:
    using CTXInternetClient::GetPassword;
    using CTXInternetClient::GetResponseBytes;
    using CTXInternetClient::GetResponseUTF8;
    using CTXInternetClient::GetUser;
    using CTXInternetClient::OpenRequestA;
    using CTXInternetClient::PrepareGETRequest;
    using CTXInternetClient::PreparePOSTRequest;
    using CTXInternetClient::ProcessHttpResult;

    // The body that the last failed request handed to ProcessException.
    mutable CString lastException;

protected:
    void ProcessException(const CString& text) const override { lastException = text; }
};

// Every log line and error, with a log folder of its own.
class LogRecorder {
public:
    LogRecorder() {
        char pattern[] = "/tmp/tarvex-svclog-XXXXXX";
        if (mkdtemp(pattern)) m_root = pattern;
        for (const char* name : {"HOME", "XDG_DATA_HOME"})
            if (const char* value = std::getenv(name)) m_saved.emplace_back(name, value);
        setenv("HOME", m_root.c_str(), 1);
        setenv("XDG_DATA_HOME", (m_root / "data").c_str(), 1);
        ResetSettingsPath();
        Lines().clear();
        CTXLog::SetGlobalOutputCallback([](const char16_t* text) { Lines().push_back(U8(text)); });
        CTXLog::SetLoggingMode(3);
    }
    ~LogRecorder() {
        CTXLog::SetLoggingMode(0);
        CTXLog::CloseFile();
        CTXLog::SetGlobalOutputCallback(nullptr);
        unsetenv("HOME");
        unsetenv("XDG_DATA_HOME");
        for (const auto& [name, value] : m_saved) setenv(name.c_str(), value.c_str(), 1);
        ResetSettingsPath();
        std::error_code ignored;
        std::filesystem::remove_all(m_root, ignored);
    }
    static std::vector<std::string>& Lines() {
        static std::vector<std::string> lines;
        return lines;
    }
    // Lines that contain `text`.
    std::vector<std::string> With(const std::string& text) const {
        std::vector<std::string> found;
        for (const auto& line : Lines())
            if (line.find(text) != std::string::npos) found.push_back(line);
        return found;
    }
    const std::filesystem::path& Root() const { return m_root; }

private:
    std::filesystem::path m_root;
    std::vector<std::pair<std::string, std::string>> m_saved;
};

// Hands out scripted tokens and records what the client gave it.
class ScriptedPackage : public INegotiatePackage {
public:
    SECURITY_STATUS acquire = SEC_E_OK;
    std::deque<std::pair<SECURITY_STATUS, std::string>> steps; // status, token out
    std::vector<std::string> inputs;                           // "<null>" for the first call
    std::uint32_t credentialUse = 0;
    std::string target;

    SECURITY_STATUS AcquireCredentials(std::uint32_t use) override {
        credentialUse = use;
        return acquire;
    }
    SECURITY_STATUS InitializeContext(const char* name, const void* input, std::uint32_t inLength,
                                      void* output, std::uint32_t& outLength) override {
        target = name;
        inputs.push_back(input ? std::string(static_cast<const char*>(input), inLength)
                               : std::string("<null>"));
        if (steps.empty()) return SEC_E_INTERNAL_ERROR;
        auto [status, token] = steps.front();
        steps.pop_front();
        if (status < 0) return status;
        if (token.size() > outLength) return SEC_E_BUFFER_TOO_SMALL;
        std::memcpy(output, token.data(), token.size());
        outLength = static_cast<std::uint32_t>(token.size());
        return status;
    }
    SECURITY_STATUS AcceptContext(const void*, std::uint32_t, bool, void*,
                                  std::uint32_t&) override {
        return SEC_E_INTERNAL_ERROR;
    }
};

// Answers every request in process: status 200 and the scripted bodies in
// turn ("" when they run out), recording only the sizes and heads of bodies.
class MemoryTransport : public CTXHttpTransport {
public:
    struct Seen {
        std::string object;
        std::string headers;
        std::size_t bodySize = 0;
        std::string bodyHead; // the first 120 bytes
        std::string bodyTail; // the last 20 bytes
    };
    std::deque<std::pair<int, std::string>> replies;
    std::vector<Seen> seen;

    std::unique_ptr<CTXHttpRequest> OpenRequest(const CTXRequestTarget& target) override;
};

class MemoryRequest : public CTXHttpRequest {
public:
    MemoryRequest(MemoryTransport& owner, std::string object) : m_owner(owner), m_object(object) {}
    bool Send(std::string_view headers, std::string_view body) override {
        MemoryTransport::Seen seen{
            m_object, std::string(headers), body.size(), std::string(body.substr(0, 120)),
            std::string(body.substr(body.size() > 20 ? body.size() - 20 : 0))};
        m_owner.seen.push_back(std::move(seen));
        if (!m_owner.replies.empty()) {
            m_status = m_owner.replies.front().first;
            m_body = m_owner.replies.front().second;
            m_owner.replies.pop_front();
        }
        return true;
    }
    int QueryStatus() const override { return m_status; }
    bool Read(void* buffer, std::uint32_t size, std::uint32_t& count) override {
        count = static_cast<std::uint32_t>(std::min<std::size_t>(size, m_body.size() - m_at));
        std::memcpy(buffer, m_body.data() + m_at, count);
        m_at += count;
        return true;
    }

private:
    MemoryTransport& m_owner;
    std::string m_object;
    int m_status = 200;
    std::string m_body;
    std::size_t m_at = 0;
};

inline std::unique_ptr<CTXHttpRequest>
MemoryTransport::OpenRequest(const CTXRequestTarget& target) {
    return std::make_unique<MemoryRequest>(*this, target.object);
}

} // namespace testing_service
