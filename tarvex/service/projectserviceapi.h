// CProjectServiceApi: the project service's session on top of the HTTP
// client: logins, the session token, the service's POST and the two probes,
// and file transfer.
//
// Wire rules every call keeps:
// - POST goes to an absolute object (the URL's path is not put in front) with
//   exactly "Accept: */*\nContent-Type: application/json; charset=utf-8\n
//   Connection: Close\n", plus "Authorization: session_token:<token>\n" where
//   the call is authorised. GET goes to the URL's path plus a query and
//   carries no headers.
// - Only status 200 succeeds. A refused POST answers false or 0 and its body
//   is not read; nothing here logs in again after a 401.
// - Request bodies are concatenated text: values are not escaped, so a quote
//   in a password travels as broken JSON.
// - Responses are skipped past 0xEF, 0xBB and 0xBF, each by itself when it
//   stands next, and must be JSON objects. Hashes must pass the signed 64-bit
//   test; one above that range counts as absent.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tarvex/service/internetclient.h"

class INegotiatePackage;

class CProjectServiceApi : public CTXInternetClient {
public:
    // Base64 characters in one upload part: 48 MiB of text, 36 MiB of file.
    static constexpr std::uint64_t kUploadPartChars = 50331648;

    CProjectServiceApi();
    CProjectServiceApi(const CProjectServiceApi& other);
    CProjectServiceApi& operator=(const CProjectServiceApi& other);
    ~CProjectServiceApi() override;

    // POST "/auth/db" with the base64 of the login's JSON. On success the
    // token is replaced; on any failure the old one stays.
    bool OpenDatabaseSession(const CString& database, const CString& login,
                             const CString& password);
    // Two legs of Negotiate on "/auth/windows". When the first token can't be
    // made the answer is true with no token: the service refuses the caller
    // at its first call.
    bool OpenWindowsSession();
    // GET "?GetApiInfo": "Сервер доступен. Версия API major:minor", or the
    // error's text.
    bool ConnectionIsValid(CString& text);
    // POST "/service/databaseConnectionCheck": true when `possibility` > 0.
    bool DatabaseConnectionIsPossible(const CString& database);

    // Uploads the file; the service's hash, or 0. A count of N retries makes
    // up to N + 1 attempts, each reading the file anew.
    std::uint64_t UploadFile(const CString& path, std::int32_t retries);
    std::uint64_t UploadFile(const CString& name, const unsigned char* data, std::uint64_t size);
    // Appends the file's bytes to the buffer, or writes them to the path. A
    // body cut short still answers true with what arrived.
    bool DownloadFile(std::uint64_t hash, CTXByteBuffer& buffer);
    bool DownloadFile(std::uint64_t hash, const CString& path);

    const std::string& GetSessionToken() const { return m_strSessionToken; }

    // The security package for the Windows login (null: GSSAPI's SPNEGO).
    using PackageFactory = std::function<std::shared_ptr<INegotiatePackage>()>;
    void SetNegotiatePackageFactory(PackageFactory factory);

private:
    using ResponseFunction = bool (*)(CProjectServiceApi& api, HTXREQUEST& request, void* param);

    std::string GetAuthHeader() const;
    bool DoPostRequest(const char* object, const std::string* auth, const CTXByteBuffer& body,
                       ResponseFunction response, void* param);
    // The same with the body sent by `send` on the open request, given the
    // headers: an upload part is made while it goes out.
    using BodySender = std::function<bool(CTXHttpRequest& request, std::string_view headers)>;
    bool DoPostWith(const char* object, const std::string* auth, const BodySender& send,
                    ResponseFunction response, void* param);
    // A null buffer reads no response at all.
    bool PostRequest(const char* object, const std::string* auth, const CTXByteBuffer& body,
                     CTXByteBuffer* response);
    bool PostRequest(const char* object, const std::string* auth, const CTXByteBuffer& body,
                     const CString& path);

    std::string m_strSessionToken;
    PackageFactory m_packageFactory;
};

class CProjectServiceCommon : public CProjectServiceApi {
public:
    // Connects, logs in (an empty user selects the Windows login), probes the
    // API and the database. The connection stays open after a failed login or
    // probe; closing it is the caller's.
    bool OpenSession(const char16_t* url, const char16_t* user, const char16_t* password,
                     const char16_t* database, CString* error);
};

class CProjectServiceTX : public CProjectServiceCommon {};
