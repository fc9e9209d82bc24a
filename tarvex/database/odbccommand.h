// Commands: a statement joined to an accessor. CODBCDynamicCommandT runs any
// SQL with the dynamic accessor's parameters and reads its rows one by one.
#pragma once

#include "tarvex/database/odbcaccessor.h"
#include "tarvex/database/odbcconverter.h"
#include "tarvex/database/odbcsession.h"
#include "tarvex/database/odbcstatement.h"

// The rowset of a command: forward only, one row at a time.
class CODBCRowset {};

template <class TAccessor, class TRowset>
class CODBCCommand : public CODBCStatement, public TAccessor, public TRowset {
protected:
    void OnResultsClosed() override { TAccessor::UnbindAll(m_hStmt); }
    void OnParamData(void* token) override { TAccessor::PutParamData(m_hStmt, token); }
};

template <class TAccessor = CODBCDynamicAccessor, class TRowset = CODBCRowset>
class CODBCDynamicCommandT : public CODBCDataConverter, public CODBCCommand<TAccessor, TRowset> {
    using Command = CODBCCommand<TAccessor, TRowset>;

public:
    ~CODBCDynamicCommandT() override {
        try {
            Close();
        } catch (...) { // a destructor must not throw
        }
    }

    // Runs `sql` on the session. A PostgreSQL session with parameters goes
    // through SQLPrepare and SQLExecute, all others through SQLExecDirect.
    void Open(const CODBCSession& session, const char16_t* sql) {
        this->Create(session, sql);
        void* hStmt = this->m_hStmt;
        TAccessor::SetConnection(static_cast<void*>(session));
        if (TAccessor::HasParameters() && session.MustPrepareParametric()) {
            this->Prepare();
            TAccessor::BindColumns(hStmt);
            TAccessor::BindParameters(hStmt);
            this->Exec();
        } else {
            TAccessor::BindParameters(hStmt);
            this->ExecDirect();
            TAccessor::BindColumns(hStmt);
        }
    }

    // The next row; false at the end. A failed fetch throws.
    bool MoveNext() {
        const auto fetched = this->FetchRow();
        if (fetched == CODBCStatement::eFetchEnd) return false;
        if (fetched == CODBCStatement::eFetchRowWithInfo) CheckTruncation();
        TAccessor::GetData(this->m_hStmt);
        return true;
    }

    void Close() override { CODBCStatement::Close(); }

    // The column as text, by the converter's rules for its C type.
    CString GetString(short column) {
        ODBCStatus status = eOdbcStatusNull;
        if (!TAccessor::GetStatus(this->m_hStmt, column, &status)) return CString();
        const CColumnData& data = *TAccessor::GetColumn(column);
        std::int64_t length = -1;
        if (data.cType == -8) {
            // Never past the buffer, whatever length the driver reported.
            length = data.indicator < 1 ? 0 : data.indicator / 2;
            const std::int64_t room = data.bufferSize / 2 - 1;
            if (length > room) length = room;
        } else if (data.cType == 1) {
            length = data.indicator < 1 ? 0 : data.indicator;
            if (length > data.bufferSize - 1) length = data.bufferSize - 1;
        }
        return CODBCDataConverter::ToString(data.cType, status, data.buffer, length);
    }

private:
    void CheckTruncation() {
        if constexpr (requires(TAccessor & a) { a.CheckTruncation(nullptr); })
            TAccessor::CheckTruncation(this->m_hStmt);
    }
};

using CODBCDynamicCommand = CODBCDynamicCommandT<CODBCDynamicAccessor, CODBCRowset>;
