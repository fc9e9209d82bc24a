#include "tarvex/service/projectserviceapi.h"

#include <cstdlib>
#include <new>
#include <sys/mman.h>

#include <rapidjson/memorystream.h>

#include "tarvex/core/exceptions.h"
#include "tarvex/core/log.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/service/httptransport_internal.h"
#include "tarvex/service/servicewire_internal.h"
#include "tarvex/service/sspi.h"
#include "tarvex/streams/base64.h"
#include "tarvex/streams/bytebuffer.h"

namespace tarvex::service {

std::string Utf8(const CString& text) {
    return tarvex::ToUtf8(text.View());
}

CTXByteBuffer MakeBody(std::string text) {
    CTXByteBuffer body;
    body.Write(std::move(text));
    return body;
}

void FreeDeleter::operator()(void* block) const noexcept {
    std::free(block);
}

LargeBlock AllocateLarge(std::size_t size) {
    constexpr std::size_t kHugePage = 2u << 20;
    if (size < 2 * kHugePage) return LargeBlock(static_cast<char*>(std::malloc(size ? size : 1)));
    const std::size_t rounded = (size + kHugePage - 1) / kHugePage * kHugePage;
    LargeBlock block(static_cast<char*>(std::aligned_alloc(kHugePage, rounded)));
    if (block) ::madvise(block.get(), rounded, MADV_HUGEPAGE);
    return block;
}

LargeBlock EncodeBase64(const void* data, std::size_t size, std::size_t& length) {
    LargeBlock text = AllocateLarge(CFastBase64::chromium_base64_encode_length(size));
    if (!text) KV_THROW(u"Ошибка размещения буфера");
    length = CFastBase64::chromium_base64_encode(text.get(), static_cast<const char*>(data), size);
    return text;
}

std::string EncodeBase64(const void* data, std::size_t size) {
    std::size_t length = 0;
    auto text = EncodeBase64(data, size, length);
    return std::string(text.get(), length);
}

bool ParseObject(const unsigned char* data, std::size_t length, rapidjson::Document& document) {
    std::size_t at = 0;
    if (at < length && data[at] == 0xEF) ++at;
    if (at < length && data[at] == 0xBB) ++at;
    if (at < length && data[at] == 0xBF) ++at;
    if (at >= length) return false;
    // A bare memory stream: the parser's own encoded stream would skip these
    // bytes a second time.
    rapidjson::MemoryStream stream(reinterpret_cast<const char*>(data) + at, length - at);
    document.ParseStream<rapidjson::kParseIterativeFlag, rapidjson::UTF8<>>(stream);
    return !document.HasParseError() && document.IsObject();
}

const rapidjson::Value* StringMember(const rapidjson::Value& object, const char* name) {
    auto member = object.FindMember(name);
    if (member == object.MemberEnd() || !member->value.IsString()) return nullptr;
    return &member->value;
}

bool HashMember(const rapidjson::Value& object, const char* name, std::uint64_t& hash) {
    auto member = object.FindMember(name);
    if (member == object.MemberEnd() || !member->value.IsInt64()) return false;
    hash = static_cast<std::uint64_t>(member->value.GetInt64());
    return true;
}

} // namespace tarvex::service

using namespace tarvex::service;

namespace {

constexpr const char* kServiceHeaders =
    "Accept: */*\nContent-Type: application/json; charset=utf-8\nConnection: Close\n";
constexpr std::uint32_t kTokenRoom = 1000;

std::string FromValue(const rapidjson::Value& value) {
    return std::string(value.GetString(), value.GetStringLength());
}

} // namespace

CProjectServiceApi::CProjectServiceApi() = default;
CProjectServiceApi::CProjectServiceApi(const CProjectServiceApi& other) = default;
CProjectServiceApi& CProjectServiceApi::operator=(const CProjectServiceApi& other) = default;
CProjectServiceApi::~CProjectServiceApi() = default;

void CProjectServiceApi::SetNegotiatePackageFactory(PackageFactory factory) {
    m_packageFactory = std::move(factory);
}

std::string CProjectServiceApi::GetAuthHeader() const {
    return "session_token:" + m_strSessionToken;
}

bool CProjectServiceApi::DoPostRequest(const char* object, const std::string* auth,
                                       const CTXByteBuffer& body, ResponseFunction response,
                                       void* param) {
    const std::string_view bytes(reinterpret_cast<const char*>(body.AsVector()), body.GetLength());
    return DoPostWith(
        object, auth,
        [bytes](CTXHttpRequest& request, std::string_view headers) {
            return request.Send(headers, bytes);
        },
        response, param);
}

bool CProjectServiceApi::DoPostWith(const char* object, const std::string* auth,
                                    const BodySender& send, ResponseFunction response,
                                    void* param) {
    HTXREQUEST request = OpenRequestA("POST", object, "application/xml");
    if (!request) return false;
    std::string headers = kServiceHeaders;
    if (auth && !auth->empty()) headers += "Authorization: " + *auth + "\n";
    // The body lives until the request closes at the end of this scope.
    if (!send(*request, headers)) return false;
    if (request->QueryStatus() != 200) return false;
    return response ? response(*this, request, param) : true;
}

bool CProjectServiceApi::PostRequest(const char* object, const std::string* auth,
                                     const CTXByteBuffer& body, CTXByteBuffer* response) {
    if (!response) return DoPostRequest(object, auth, body, nullptr, nullptr);
    return DoPostRequest(
        object, auth, body,
        [](CProjectServiceApi& api, HTXREQUEST& request, void* param) {
            return api.GetResponseBytes(request, *static_cast<CTXByteBuffer*>(param));
        },
        response);
}

bool CProjectServiceApi::PostRequest(const char* object, const std::string* auth,
                                     const CTXByteBuffer& body, const CString& path) {
    return DoPostRequest(
        object, auth, body,
        [](CProjectServiceApi& api, HTXREQUEST& request, void* param) {
            return api.GetResponseBytes(request, static_cast<const CString*>(param)->GetString());
        },
        const_cast<CString*>(&path));
}

bool CProjectServiceApi::OpenDatabaseSession(const CString& database, const CString& login,
                                             const CString& password) {
    const std::string json = "{\"db_name\":\"" + Utf8(database) + "\",\"login\":\"" + Utf8(login) +
                             "\", \"pass\":\"" + Utf8(password) + "\"}";
    std::size_t length = 0;
    auto text = EncodeBase64(json.data(), json.size(), length);
    CTXByteBuffer body;
    body.Write(text.get(), static_cast<std::uint32_t>(length));

    CTXByteBuffer response;
    if (!PostRequest("/auth/db", nullptr, body, &response)) return false;
    rapidjson::Document document;
    if (!ParseObject(response, document)) return false;
    const rapidjson::Value* token = StringMember(document, "session_token");
    if (!token) return false;
    m_strSessionToken = FromValue(*token);
    return true;
}

bool CProjectServiceApi::OpenWindowsSession() {
    CSspiClient client(m_packageFactory ? m_packageFactory() : nullptr);
    if (!client.Init()) return false;

    unsigned char token[kTokenRoom];
    std::uint32_t tokenLength = kTokenRoom;
    // No first token: go on unauthenticated and let the service refuse.
    if (!client.GenerateContext(nullptr, 0, token, tokenLength)) return true;

    CTXByteBuffer response;
    if (!PostRequest("/auth/windows", nullptr,
                     MakeBody("{\"sspi_stage\":\"begin\", \"data\":\"" +
                              EncodeBase64(token, tokenLength) + "\"}"),
                     &response))
        return false;
    rapidjson::Document first;
    if (!ParseObject(response, first)) return false;
    const rapidjson::Value* serverToken = StringMember(first, "token");
    const rapidjson::Value* data = StringMember(first, "data");
    if (!serverToken || !data) return false;

    const std::size_t textLength = data->GetStringLength();
    std::unique_ptr<char[]> decoded(
        new (std::nothrow) char[CFastBase64::chromium_base64_decode_length(textLength)]);
    if (!decoded) KV_THROW(u"Ошибка размещения буфера");
    const std::size_t decodedLength =
        CFastBase64::chromium_base64_decode(decoded.get(), data->GetString(), textLength);
    // Text that isn't base64 answers -1; it fails like an empty token.
    if (decodedLength == 0 || decodedLength == static_cast<std::size_t>(-1)) return false;
    if (decodedLength > UINT32_MAX) return false;

    tokenLength = kTokenRoom;
    if (!client.GenerateContext(reinterpret_cast<unsigned char*>(decoded.get()),
                                static_cast<std::uint32_t>(decodedLength), token, tokenLength))
        return false;

    CTXByteBuffer final;
    if (!DoPostRequest(
            "/auth/windows", nullptr,
            MakeBody("{\"sspi_stage\":\"end\", \"token\":\"" + FromValue(*serverToken) +
                     "\", \"data\":\"" + EncodeBase64(token, tokenLength) + "\"}"),
            [](CProjectServiceApi& api, HTXREQUEST& request, void* param) {
                return api.GetResponseBytes(request, *static_cast<CTXByteBuffer*>(param));
            },
            &final))
        return false;
    rapidjson::Document second;
    if (!ParseObject(final, second)) return false;
    const rapidjson::Value* session = StringMember(second, "session_token");
    if (!session) return false;
    m_strSessionToken = FromValue(*session);
    return true;
}

bool CProjectServiceApi::ConnectionIsValid(CString& text) {
    HTXREQUEST request;
    try {
        PrepareGETRequest(u"?GetApiInfo", request);
        CTXByteBuffer body;
        GetResponseBytes(request, body);
        body.Write(std::string(1, '\0'));
        // In place, as a terminated text: parsing stops at the first zero.
        char* json = reinterpret_cast<char*>(body.AsVector());
        if (static_cast<unsigned char>(*json) == 0xEF) ++json;
        if (static_cast<unsigned char>(*json) == 0xBB) ++json;
        if (static_cast<unsigned char>(*json) == 0xBF) ++json;
        rapidjson::Document document;
        document.ParseInsitu<rapidjson::kParseIterativeFlag>(json);
        if (document.HasParseError() || !document.IsObject()) return false;
        auto major = document.FindMember("majorVersion");
        auto minor = document.FindMember("minorVersion");
        if (major == document.MemberEnd() || minor == document.MemberEnd() ||
            !major->value.IsInt() || !minor->value.IsInt())
            return false;
        text.Format(u"Сервер доступен. Версия API %d:%d", major->value.GetInt(),
                    minor->value.GetInt());
        CTXLog::Line(text);
        request.reset();
        return true;
    } catch (const CKVException& e) {
        text = e.GetMessageW();
        if (text.IsEmpty()) text = u"Ошибка соединения с сервером, проверьте настройки.";
        CKVException::LogErrorMsg(text);
        request.reset();
        return false;
    }
}

bool CProjectServiceApi::DatabaseConnectionIsPossible(const CString& database) {
    const std::string auth = GetAuthHeader();
    CTXByteBuffer response;
    if (!PostRequest("/service/databaseConnectionCheck", &auth,
                     MakeBody("{\"db_name\":\"" + Utf8(database) + "\"}"), &response))
        return false;
    rapidjson::Document document;
    if (!ParseObject(response, document)) return false;
    auto possibility = document.FindMember("possibility");
    return possibility != document.MemberEnd() && possibility->value.IsInt64() &&
           possibility->value.GetInt64() > 0;
}

bool CProjectServiceCommon::OpenSession(const char16_t* url, const char16_t* user,
                                        const char16_t* password, const char16_t* database,
                                        CString* error) {
    if (!OpenConnection(url, user, password, error, database)) return false;
    const bool windows = !user || user[0] == 0;
    const bool loggedIn =
        windows ? OpenWindowsSession() : OpenDatabaseSession(database, user, password);
    if (!loggedIn) {
        if (error) *error = u"Аутентификация не пройдена";
        return false;
    }
    CString probe;
    if (!ConnectionIsValid(probe)) {
        if (error) *error = probe;
        return false;
    }
    if (!DatabaseConnectionIsPossible(database)) {
        if (error)
            *error = u"Сервис не может подключиться к данной БД. Следует проверить его "
                     u"настройку.";
        return false;
    }
    return true;
}
