#include "tarvex/service/sspi.h"

#include <cstring>

#include <gssapi/gssapi.h>

namespace {

// 1.3.6.1.5.5.2, the SPNEGO mechanism that "Negotiate" names.
gss_OID_desc g_spnegoOid = {6, const_cast<char*>("\x2b\x06\x01\x05\x05\x02")};
gss_OID_set_desc g_spnegoSet = {1, &g_spnegoOid};

SECURITY_STATUS FromGss(OM_uint32 major) {
    if (!GSS_ERROR(major)) return major & GSS_S_CONTINUE_NEEDED ? SEC_I_CONTINUE_NEEDED : SEC_E_OK;
    switch (GSS_ROUTINE_ERROR(major)) {
    case GSS_S_NO_CRED:
    case GSS_S_CREDENTIALS_EXPIRED:
    case GSS_S_DEFECTIVE_CREDENTIAL:
        return SEC_E_NO_CREDENTIALS;
    case GSS_S_BAD_NAME:
    case GSS_S_BAD_NAMETYPE:
        return SEC_E_TARGET_UNKNOWN;
    case GSS_S_DEFECTIVE_TOKEN:
    case GSS_S_BAD_SIG:
    case GSS_S_NO_CONTEXT:
        return SEC_E_INVALID_TOKEN;
    case GSS_S_UNAUTHORIZED:
        return SEC_E_LOGON_DENIED;
    default:
        return SEC_E_INTERNAL_ERROR;
    }
}

class CGssNegotiate final : public INegotiatePackage {
public:
    CGssNegotiate() = default;
    CGssNegotiate(const CGssNegotiate&) = delete;
    CGssNegotiate& operator=(const CGssNegotiate&) = delete;
    ~CGssNegotiate() override {
        OM_uint32 minor = 0;
        DropContext();
        if (m_cred != GSS_C_NO_CREDENTIAL) gss_release_cred(&minor, &m_cred);
        if (m_target != GSS_C_NO_NAME) gss_release_name(&minor, &m_target);
    }

    SECURITY_STATUS AcquireCredentials(std::uint32_t credentialUse) override {
        OM_uint32 minor = 0;
        if (m_cred != GSS_C_NO_CREDENTIAL) gss_release_cred(&minor, &m_cred);
        const gss_cred_usage_t usage =
            credentialUse == SECPKG_CRED_INBOUND ? GSS_C_ACCEPT : GSS_C_INITIATE;
        return FromGss(gss_acquire_cred(&minor, GSS_C_NO_NAME, GSS_C_INDEFINITE, &g_spnegoSet,
                                        usage, &m_cred, nullptr, nullptr));
    }

    SECURITY_STATUS InitializeContext(const char* target, const void* input, std::uint32_t inLength,
                                      void* output, std::uint32_t& outLength) override {
        OM_uint32 minor = 0;
        if (!input) DropContext();
        if (m_target == GSS_C_NO_NAME) {
            gss_buffer_desc name = {std::strlen(target), const_cast<char*>(target)};
            const OM_uint32 major = gss_import_name(&minor, &name, GSS_C_NT_USER_NAME, &m_target);
            if (GSS_ERROR(major)) return FromGss(major);
        }
        gss_buffer_desc in = {inLength, const_cast<void*>(input)};
        gss_buffer_desc out = GSS_C_EMPTY_BUFFER;
        const OM_uint32 major =
            gss_init_sec_context(&minor, m_cred, &m_context, m_target, &g_spnegoOid,
                                 GSS_C_CONF_FLAG, 0, GSS_C_NO_CHANNEL_BINDINGS,
                                 input ? &in : GSS_C_NO_BUFFER, nullptr, &out, nullptr, nullptr);
        return TakeToken(major, out, output, outLength);
    }

    SECURITY_STATUS AcceptContext(const void* input, std::uint32_t inLength, bool first,
                                  void* output, std::uint32_t& outLength) override {
        OM_uint32 minor = 0;
        if (first) DropContext();
        gss_buffer_desc in = {inLength, const_cast<void*>(input)};
        gss_buffer_desc out = GSS_C_EMPTY_BUFFER;
        const OM_uint32 major =
            gss_accept_sec_context(&minor, &m_context, m_cred, &in, GSS_C_NO_CHANNEL_BINDINGS,
                                   nullptr, nullptr, &out, nullptr, nullptr, nullptr);
        return TakeToken(major, out, output, outLength);
    }

private:
    void DropContext() {
        OM_uint32 minor = 0;
        if (m_context != GSS_C_NO_CONTEXT)
            gss_delete_sec_context(&minor, &m_context, GSS_C_NO_BUFFER);
    }

    static SECURITY_STATUS TakeToken(OM_uint32 major, gss_buffer_desc& out, void* output,
                                     std::uint32_t& outLength) {
        OM_uint32 minor = 0;
        SECURITY_STATUS status = FromGss(major);
        if (status >= 0) {
            if (out.length > outLength) {
                status = SEC_E_BUFFER_TOO_SMALL;
            } else {
                if (out.length) std::memcpy(output, out.value, out.length);
                outLength = static_cast<std::uint32_t>(out.length);
            }
        }
        gss_release_buffer(&minor, &out);
        return status;
    }

    gss_cred_id_t m_cred = GSS_C_NO_CREDENTIAL;
    gss_ctx_id_t m_context = GSS_C_NO_CONTEXT;
    gss_name_t m_target = GSS_C_NO_NAME;
};

} // namespace

std::shared_ptr<INegotiatePackage> MakeNegotiatePackage() {
    return std::make_shared<CGssNegotiate>();
}

CSSPI::CSSPI(std::shared_ptr<INegotiatePackage> package)
    : m_pPackage(package ? std::move(package) : MakeNegotiatePackage()) {}

CSSPI::~CSSPI() = default;

bool CSSPI::Init() {
    return m_pPackage->AcquireCredentials(GetCredentialUse()) >= 0;
}

CSspiClient::CSspiClient(std::shared_ptr<INegotiatePackage> package)
    : CSSPI(std::move(package)), m_strTargetName("Server_User_Logon_Name") {}

bool CSspiClient::GenerateContext(const unsigned char* input, std::uint32_t inLength,
                                  unsigned char* output, std::uint32_t& outLength) {
    const SECURITY_STATUS status = m_pPackage->InitializeContext(
        m_strTargetName.c_str(), input, input ? inLength : 0, output, outLength);
    if (status < 0) return false;
    if (status == SEC_I_COMPLETE_NEEDED || status == SEC_I_COMPLETE_AND_CONTINUE)
        return m_pPackage->CompleteToken() >= 0;
    return true;
}

CSspiServer::CSspiServer(std::shared_ptr<INegotiatePackage> package) : CSSPI(std::move(package)) {}

bool CSspiServer::GenerateContext(const unsigned char* input, std::uint32_t inLength,
                                  unsigned char* output, std::uint32_t& outLength, bool first,
                                  bool& done) {
    const SECURITY_STATUS status =
        m_pPackage->AcceptContext(input, inLength, first, output, outLength);
    if (status < 0) return false;
    if (status == SEC_I_COMPLETE_NEEDED || status == SEC_I_COMPLETE_AND_CONTINUE) {
        if (m_pPackage->CompleteToken() < 0) return false;
    }
    done = status == SEC_E_OK;
    return true;
}
