// CTXInternetClient: the HTTP connection every project-service call runs on.
//
// It splits the service URL, opens a session and a connection, prepares GET
// and POST requests, turns statuses other than 200 into Russian messages and
// reads response bodies into memory, into a file or into wide text. All calls
// block; reads are bounded by the receive timeout, counted as time without a
// byte arriving.
//
// Handles are shared by copies of a client, which never close them twice: the
// last holder lets them go. A request handle is the caller's: it closes when
// the handle is reset or leaves scope, exceptions included.
#pragma once

#include <cstdint>
#include <memory>

#include "tarvex/core/object.h"
#include "tarvex/platform/cstring.h"

class CTXByteBuffer;
class CTXHttpRequest;
class CTXHttpTransport;
struct CTXInternetSession;
struct CTXInternetConnection;

struct CTXRequestCloser {
    void operator()(CTXHttpRequest* request) const noexcept;
};
using HTXREQUEST = std::unique_ptr<CTXHttpRequest, CTXRequestCloser>;

class CTXInternetClient : public CTarvexObject {
public:
    static constexpr std::uint32_t kSecureFlag = 0x800000;
    // No cache write, keep the connection, pragma no-cache.
    static constexpr std::uint32_t kRequestFlags = 0x4400100;
    static constexpr std::uint32_t kDefaultReceiveTimeout = 1200000;

    CTXInternetClient();
    CTXInternetClient(const CTXInternetClient& other);
    CTXInternetClient& operator=(const CTXInternetClient& other);
    ~CTXInternetClient() override;

    // Never throws: a failure closes the client, puts the message into
    // *error (when given), logs it and answers false. `database` is accepted
    // for derived classes and not used here.
    bool OpenConnection(const char16_t* url, const char16_t* user, const char16_t* password,
                        CString* error, const char16_t* database);
    void Close();
    virtual bool IsConnected() const;

    // Stored only; it takes effect at the next OpenConnection.
    std::uint32_t GetReceiveTimeout() const { return m_nReceiveTimeout; }
    void SetReceiveTimeout(std::uint32_t milliseconds) { m_nReceiveTimeout = milliseconds; }

    // A PEM file of certificate authorities trusted for https in place of the
    // system's store (a private service CA). Empty restores the system's.
    // Takes effect at the next OpenConnection.
    void SetCertificateAuthorityFile(const char16_t* path);
    // Replaces the HTTP transport (null: libcurl). Takes effect at the next
    // OpenConnection.
    void SetTransport(std::shared_ptr<CTXHttpTransport> transport);

    // The parts of the URL, as OpenConnection split them.
    const CString& GetHost() const { return m_strHost; }
    const CString& GetPath() const { return m_strPath; }
    std::int32_t GetPort() const { return m_nPort; }
    std::uint32_t GetRequestFlags() const { return m_nRequestFlags; }
    const CString& GetUrlForMessages() const { return m_strUrlForMessages; }

protected:
    void PreparePOSTRequest(const char16_t* headers, const char16_t* body, HTXREQUEST& request,
                            const char16_t* object = nullptr) const;
    void PrepareGETRequest(const char16_t* suffix, HTXREQUEST& request) const;
    void PostStringUTF8Encoded(HTXREQUEST& request, const char16_t* headers, const char* bytes,
                               std::uint32_t count) const;
    void PostStringUTF8Converted(HTXREQUEST& request, const char16_t* headers,
                                 const char16_t* text) const;

    // Each answers true at the end of the body, also when a read fails
    // midway: a short body is not an error here.
    bool GetResponseBytes(HTXREQUEST& request, CTXByteBuffer& buffer) const;
    bool GetResponseBytes(HTXREQUEST& request, const char16_t* path) const;
    bool GetResponseUTF8(HTXREQUEST& request, CString& text) const;

    // Only 200 passes; any other status throws CKVException with the status
    // text and the response body. The request stays open.
    void ProcessHttpResult(std::int32_t status, HTXREQUEST& request) const;

    virtual void ProcessException(const CString& responseText) const;
    virtual void InitAuthentication(const char16_t* user, const char16_t* password);

    // The request of the narrow interface: null when it can't be opened.
    // `object` is UTF-8; `accept` the one entry of the accept list.
    HTXREQUEST OpenRequestA(const char* verb, const char* object, const char* accept) const;

    const CString& GetUser() const { return m_strUser; }
    const CString& GetPassword() const { return m_strPassword; }

private:
    HTXREQUEST OpenRequest(const char* verb, const CString& object, const char* accept) const;

    CString m_strServiceUrl;
    CString m_strUrlForMessages; // cut before an "@", for every message
    CString m_strPath;
    CString m_strSpare1;
    CString m_strSpare2;
    std::shared_ptr<CTXInternetSession> m_hInternet;
    std::shared_ptr<CTXInternetConnection> m_hConnection;
    std::int32_t m_nPort = 80;
    CString m_strHost;
    CString m_strUser;
    CString m_strPassword;
    std::uint32_t m_nRequestFlags = 0;
    std::uint32_t m_nReceiveTimeout = kDefaultReceiveTimeout;

    CString m_strCAFile;
    std::shared_ptr<CTXHttpTransport> m_pTransport;
};
