// The Negotiate security package as the Windows login uses it: a token in, a
// token out and a completion status.
//
// CSSPI and its two sides keep their credentials and context inside a
// package object. The default package is SPNEGO over GSSAPI; tests and hosts
// may hand in another one (a scripted token source, say).
#pragma once

#include <cstdint>
#include <memory>
#include <string>

using SECURITY_STATUS = std::int32_t;

constexpr SECURITY_STATUS SEC_E_OK = 0;
constexpr SECURITY_STATUS SEC_I_CONTINUE_NEEDED = 0x00090312;
constexpr SECURITY_STATUS SEC_I_COMPLETE_NEEDED = 0x00090313;
constexpr SECURITY_STATUS SEC_I_COMPLETE_AND_CONTINUE = 0x00090314;
constexpr SECURITY_STATUS SEC_E_INSUFFICIENT_MEMORY = static_cast<SECURITY_STATUS>(0x80090300);
constexpr SECURITY_STATUS SEC_E_TARGET_UNKNOWN = static_cast<SECURITY_STATUS>(0x80090303);
constexpr SECURITY_STATUS SEC_E_INTERNAL_ERROR = static_cast<SECURITY_STATUS>(0x80090304);
constexpr SECURITY_STATUS SEC_E_INVALID_TOKEN = static_cast<SECURITY_STATUS>(0x80090308);
constexpr SECURITY_STATUS SEC_E_LOGON_DENIED = static_cast<SECURITY_STATUS>(0x8009030C);
constexpr SECURITY_STATUS SEC_E_NO_CREDENTIALS = static_cast<SECURITY_STATUS>(0x8009030E);
constexpr SECURITY_STATUS SEC_E_BUFFER_TOO_SMALL = static_cast<SECURITY_STATUS>(0x80090321);

constexpr std::uint32_t SECPKG_CRED_INBOUND = 1;
constexpr std::uint32_t SECPKG_CRED_OUTBOUND = 2;

// A security package with one credential and one context.
class INegotiatePackage {
public:
    virtual ~INegotiatePackage() = default;

    virtual SECURITY_STATUS AcquireCredentials(std::uint32_t credentialUse) = 0;
    // The client's step. A null `input` starts a new context. `outLength`
    // holds the room in `output` and receives the token's size; a token that
    // does not fit is SEC_E_BUFFER_TOO_SMALL.
    virtual SECURITY_STATUS InitializeContext(const char* target, const void* input,
                                              std::uint32_t inLength, void* output,
                                              std::uint32_t& outLength) = 0;
    // The server's step; `first` starts a new context.
    virtual SECURITY_STATUS AcceptContext(const void* input, std::uint32_t inLength, bool first,
                                          void* output, std::uint32_t& outLength) = 0;
    // Called for SEC_I_COMPLETE_NEEDED and SEC_I_COMPLETE_AND_CONTINUE.
    virtual SECURITY_STATUS CompleteToken() { return SEC_E_OK; }
};

// SPNEGO over MIT Kerberos GSSAPI.
std::shared_ptr<INegotiatePackage> MakeNegotiatePackage();

class CSSPI {
public:
    // Null: the GSSAPI package. Copies share the package and so its handles.
    explicit CSSPI(std::shared_ptr<INegotiatePackage> package = nullptr);
    CSSPI(const CSSPI&) = default;
    CSSPI& operator=(const CSSPI&) = default;
    virtual ~CSSPI();

    // Acquires the credentials of the "Negotiate" package.
    bool Init();
    virtual std::uint32_t GetCredentialUse() const = 0;

protected:
    std::shared_ptr<INegotiatePackage> m_pPackage;
};

class CSspiClient : public CSSPI {
public:
    explicit CSspiClient(std::shared_ptr<INegotiatePackage> package = nullptr);

    std::uint32_t GetCredentialUse() const override { return SECPKG_CRED_OUTBOUND; }

    // A null input is the first call. `outLength` is the room in `output` and
    // receives the size of the token made.
    bool GenerateContext(const unsigned char* input, std::uint32_t inLength, unsigned char* output,
                         std::uint32_t& outLength);

private:
    std::string m_strTargetName;
};

class CSspiServer : public CSSPI {
public:
    explicit CSspiServer(std::shared_ptr<INegotiatePackage> package = nullptr);

    std::uint32_t GetCredentialUse() const override { return SECPKG_CRED_INBOUND; }

    // `done` is set when the handshake is finished.
    bool GenerateContext(const unsigned char* input, std::uint32_t inLength, unsigned char* output,
                         std::uint32_t& outLength, bool first, bool& done);
};
