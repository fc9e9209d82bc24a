// The named commands of the service: each uploads its files, builds the
// parameters of its command and pushes it through SendCommand.
#include "tarvex/core/exceptions.h"
#include "tarvex/element/element.h"
#include "tarvex/element/paramsowner.h"
#include "tarvex/platform/wide.h"
#include "tarvex/service/projectserviceapi.h"

namespace {

constexpr std::int32_t kUploadRetries = 10;

// COMMAND_NAME, COMMAND_INFO "database:user" and COMMAND_DB_NAME.
void SetCommand(CParamsOwner& params, const char16_t* name, const CString& database,
                const CString& user) {
    params.SetParameter(u"COMMAND_NAME", name);
    params.SetParameter(u"COMMAND_INFO", database + u":" + user);
    params.SetParameter(u"COMMAND_DB_NAME", database);
}

CString Decimal(std::int64_t value) {
    CString text;
    text.Format(u"%lld", static_cast<long long>(value));
    return text;
}

} // namespace

bool CProjectServiceCommon::SendMail(const CString& recipient, const CString& subject,
                                     const std::vector<CString>& files) {
    HashArray hashes;
    for (const CString& file : files) {
        const std::uint64_t hash = UploadFile(file, kUploadRetries);
        if (hash == 0) return false;
        hashes.Add(hash);
    }
    CParamsOwner params;
    params.SetParameter(u"COMMAND_NAME", u"SendMail");
    params.SetParameter(u"COMMAND_INFO", u"Команда отправки почты");
    params.SetParameter(u"MAIL_TO", recipient);
    params.SetParameter(u"MAIL_SUBJECT", subject);
    return SendTask(params, nullptr, &hashes, nullptr) != 0;
}

std::uint64_t CProjectServiceCommon::ExportMLT(const CString& database, const CString& user,
                                               const CElement* element) {
    CParamsOwner params;
    SetCommand(params, u"ExportMLT", database, user);
    params.SetParameter(u"COMMAND_DB_USER_NAME", user);
    return SendCommand(params, element, nullptr, nullptr, nullptr);
}

CProjectServiceApi::EAsyncResult
CProjectServiceCommon::GetMLTFile(std::uint64_t task, const CString& path, CString* message) {
    CElement result(u"");
    if (!GetTaskResult(task, result)) return eAsyncPending;
    if (result.GetParameterValue(u"ERROR_COUNT", 0) > 0) {
        if (message) *message = result.GetParameterValue(u"OUT_MESSAGE", u"");
        return eAsyncFailed;
    }
    const CParam* file = result.GetParameter(u"FILE_HASH");
    const std::uint64_t fileHash =
        file ? static_cast<std::uint64_t>(_wtoi64(file->getstrValue())) : 0;
    // The service's texts show hashes through a 32-bit format: the low half.
    if (fileHash == 0) {
        if (message)
            message->Format(u"Файл не был возвращён: задача 0x%016x",
                            static_cast<std::uint32_t>(task));
        return eAsyncFailed;
    }
    if (!DownloadFile(fileHash, path)) {
        if (message)
            message->Format(u"Ошибка загрузки файла 0x%016x; задача 0x%016x",
                            static_cast<std::uint32_t>(fileHash), static_cast<std::uint32_t>(task));
        return eAsyncFailed;
    }
    return eAsyncDone;
}

std::uint64_t CProjectServiceCommon::ImportRVM(const CString& database, const CString& user,
                                               const CString& rvmPath, const CString& attributePath,
                                               const CElement* element) {
    HashArray hashes;
    const std::uint64_t model = UploadFile(rvmPath, kUploadRetries);
    if (model == 0) return 0;
    hashes.Add(model);
    if (!attributePath.IsEmpty()) {
        const std::uint64_t attributes = UploadFile(attributePath, kUploadRetries);
        if (attributes == 0) return 0;
        hashes.Add(attributes);
    }
    CParamsOwner params;
    SetCommand(params, u"ImportRVM", database, user);
    params.SetParameter(u"COMMAND_DB_USER_NAME", user);
    return SendCommand(params, element, nullptr, &hashes, nullptr);
}

std::uint64_t CProjectServiceCommon::Numerate(const CString& database, const CString& user,
                                              std::int32_t replace, const CString& filter) {
    CParamsOwner params;
    SetCommand(params, u"NumerateObjects", database, user);
    params.SetParameter(u"REPLACE", Decimal(replace));
    params.SetParameter(u"FILTER", filter);
    return SendTask(params, nullptr, nullptr, nullptr);
}

std::uint64_t CProjectServiceCommon::CleanDatabase(const CString& database, const CString& user) {
    CParamsOwner params;
    SetCommand(params, u"CleanObjects", database, user);
    return SendTask(params, nullptr, nullptr, nullptr);
}

std::uint64_t CProjectServiceCommon::CollisionCheck(const CString& database, const CString& user,
                                                    const CIndirectArray<CString>& profiles) {
    CParamsOwner params;
    SetCommand(params, u"CollisionCheck", database, user);
    for (int64_t i = 0; i < profiles.GetLength(); ++i) {
        CString name;
        name.Format(u"PROFILE_%d", static_cast<std::int32_t>(i));
        params.SetParameter(name, profiles[i] ? profiles[i]->GetString() : u"");
    }
    return SendTask(params, nullptr, nullptr, nullptr);
}

bool CProjectServiceTX::CommitPublication(const CString& database, const CString& user,
                                          std::int32_t publicationId, const CString& publicationUid,
                                          const CString& sourcePath, const CString& fileUid,
                                          const CString& statusPath, std::int32_t backupPolicy,
                                          bool checkInMode, bool keepOpen, bool saveLocally,
                                          bool /*reserved*/, const CString& dataUid,
                                          const HashArray* depends) {
    CParamsOwner params;
    params.SetParameter(u"NODE_TYPE", u"COMMAND");
    SetCommand(params, u"CommitPublication", database, user);
    params.SetParameter(u"COMMAND_DB_USER_NAME", user);
    params.SetParameter(u"COMMAND_PUBLICATION_ID", Decimal(publicationId));
    params.SetParameter(u"UID_PUBLICATION", publicationUid);
    params.SetParameter(u"UID_FILE", fileUid);
    params.SetParameter(u"BACKUP_POLICY", Decimal(backupPolicy));
    params.SetParameter(u"KEEP_OPEN", keepOpen ? u"1" : u"0");
    params.SetParameter(u"CHECK_IN_MODE", checkInMode ? u"1" : u"0");

    const std::uint64_t status = UploadFile(statusPath, kUploadRetries);
    if (status == 0) {
        CKVException::LogErrorMsg(
            u"CProjectServiceTX::CommitPublication не удалось отправить файл статуса");
        return false;
    }
    params.SetParameter(u"STATUS_FILE", Decimal(static_cast<std::int64_t>(status)));
    if (!saveLocally) {
        params.SetParameter(u"SAVE_LOCALLY", u"0");
        const std::uint64_t source = UploadFile(sourcePath, kUploadRetries);
        if (source == 0) {
            CKVException::LogErrorMsg(
                u"CProjectServiceTX::CommitPublication не удалось отправить файл-источник");
            return false;
        }
        params.SetParameter(u"SOURCE_FILE", Decimal(static_cast<std::int64_t>(source)));
    } else {
        params.SetParameter(u"SAVE_LOCALLY", u"1");
        params.SetParameter(u"SOURCE_FILE_PATH", sourcePath);
    }
    if (!dataUid.IsEmpty()) params.SetParameter(u"PUBLICATION_DATAUID", dataUid);
    return SendTask(params, depends, nullptr, nullptr) != 0;
}

std::uint64_t CProjectServiceTX::SendPublicationData(const CString& dataUid,
                                                     const CString& database, const CString& user,
                                                     std::int32_t publicationId,
                                                     const CString& path, bool /*reserved*/) {
    const std::uint64_t file = UploadFile(path, kUploadRetries);
    if (file == 0) return 0;
    HashArray hashes;
    hashes.Add(file);
    CParamsOwner params;
    SetCommand(params, u"SendPublicationData", database, user);
    params.SetParameter(u"COMMAND_DB_USER_NAME", user);
    params.SetParameter(u"COMMAND_PUBLICATION_ID", Decimal(publicationId));
    params.SetParameter(u"PUBLICATION_DATAUID", dataUid);
    return SendTask(params, nullptr, &hashes, nullptr);
}
