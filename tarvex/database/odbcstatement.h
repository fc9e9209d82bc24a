// CODBCStatement: one ODBC statement handle and its SQL text, with the
// data-at-execution loop. Derived commands hook into closing and into the
// sending of parameter data.
#pragma once

#include <cstdint>

#include "tarvex/core/object.h"
#include "tarvex/platform/cstring.h"

class CODBCSession;

class CODBCStatement : public CTarvexObject {
public:
    CODBCStatement() = default;
    // A copy has the text but no handle: a handle is never shared.
    CODBCStatement(const CODBCStatement& other);
    CODBCStatement& operator=(const CODBCStatement& other);
    ~CODBCStatement() override;

    // Allocates the handle on the session when there is none; with results
    // still open, drains them first. Stores the new text.
    void Create(const CODBCSession& session, const char16_t* sql);
    void Prepare();
    // Runs the text (ExecDirect) or the prepared statement (Exec), sends the
    // data-at-execution parameters, and counts the rows when asked.
    void ExecDirect(std::int64_t* rowCount = nullptr);
    void Exec(std::int64_t* rowCount = nullptr);
    void GetTypeInfo(short sqlType);
    // True while another result follows.
    bool MoreResults();
    void DescribeParam(short number, short& sqlType, std::uint64_t& size, short& decimalDigits,
                       short& nullable);
    // Frees the handle.
    virtual void Close();

    operator void*() const { return m_hStmt; }
    void* GetHandle() const { return m_hStmt; }
    const CString& GetText() const { return text; }
    bool IsPrepared() const { return prepared; }
    bool HasResults() const { return hasResults; }

protected:
    // Called once the results of the statement have been closed.
    virtual void OnResultsClosed() {}
    // Called with the token of each parameter whose data the driver asks for.
    virtual void OnParamData(void* token) { (void)token; }

    short ExecDirectSimple();
    short GetParamData();
    bool FetchNext();
    // The same, telling a row that came with information (a truncation,
    // for one) from a plain one. A failed fetch throws.
    enum EFetch { eFetchEnd, eFetchRow, eFetchRowWithInfo };
    EFetch FetchRow();
    void CloseRowset();
    void AssertIsClosed();
    void ThrowIfFailed(short rc, const char16_t* context) const;

    void* m_hStmt = nullptr;
    CString text;
    bool prepared = false;
    bool hasResults = false;

private:
    void Finish(short rc, std::int64_t* rowCount);
};
