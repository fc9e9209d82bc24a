// CODBCException: the one exception of the database layer. It carries the
// driver's diagnostics (state, native code, text) and what was being done.
#pragma once

#include <cstdint>

#include "tarvex/core/exceptions.h"

class CODBCException : public CKVException {
public:
    // Reads the diagnostics of `handle` at once (handle types 1 environment,
    // 2 connection, 3 statement). `context` names the statement or the call.
    CODBCException(void* handle, short handleType, const char16_t* context);
    explicit CODBCException(const char16_t* message);
    // `sqlState` is cut to 5 characters.
    CODBCException(const char16_t* message, const char16_t* sqlState, std::int32_t nativeError,
                   const char16_t* context);

    std::int32_t GetNativeError() const { return m_nNativeError; }
    const char16_t* GetSQLState() const { return m_szSqlState; }
    const CString& GetContext() const { return m_strContext; }
    bool HasDiagnostics() const { return m_bHasDiagnostics; }

    // The link to the server is gone: state 08S01, in any case.
    bool IsCommunicationLinkFailure() const;

    // Appends every diagnostic record of the handle to `out`, then the
    // context after a text naming the handle type. Records are consumed.
    void InitErrorMessage(CString& out, void* handle, short handleType);

private:
    void SetState(const char16_t* sqlState);

    bool m_bHasDiagnostics = false;
    char16_t m_szSqlState[6] = {};
    std::int32_t m_nNativeError = 0;
    CString m_strContext;
};
