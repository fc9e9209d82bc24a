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
//   test; one above that range counts as absent. Hashes in request bodies are
//   unsigned decimal.
//
// Tasks: a command is an element "cmd" sent as element JSON (see
// cmdbuilderutils.h) to "/tasks/push"; the service answers its hash. The
// client never waits or polls: a caller asks GetTaskResult, or a command
// built on it such as GetMLTFile, as often as it sees fit, and must bound
// that itself, since a refused request and a running task both answer false.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tarvex/core/arraytemplate.h"
#include "tarvex/core/indirectarray.h"
#include "tarvex/service/internetclient.h"
#include "tarvex/service/taskschedule.h"

class CElement;
class CParamsOwner;
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

    // What a command that asks for a task's outcome answers.
    enum EAsyncResult {
        eAsyncFailed = 0,  // the task failed, or its product couldn't be fetched
        eAsyncDone = 1,    // finished, and its product is here
        eAsyncPending = 2, // no result could be fetched; ask again later
    };
    using HashArray = TArrayTemplate<std::uint64_t>;

    // Pushes a command made of `params`, which must hold a non-empty
    // COMMAND_NAME (otherwise nothing is sent). The element gets NODE_TYPE
    // "COMMAND" besides the given parameters (a given NODE_TYPE stays as a
    // duplicate), FILE_HASH from the file hashes, and a "schedule" child for
    // a schedule. Null or empty arrays send nothing of theirs. The service's
    // task hash, or 0.
    std::uint64_t SendTask(const CParamsOwner& params, const HashArray* depends,
                           const HashArray* fileHashes, const CScheduleData* schedule);
    // Reads the task's result element into `element`: its id, name and
    // parameters, and a new child for every entry of its "Elements". False
    // when there is no result (whatever the reason) or it isn't an element.
    bool GetTaskResult(std::uint64_t hash, CElement& element);
    bool RemoveTaskSchedule(std::uint64_t hash);
    bool EditTaskSchedule(std::uint64_t hash, const CScheduleData& data);
    // GET calls, which answer false for any failure and throw nothing. The
    // settings are asked for by the low 32 bits of the hash only, as signed
    // decimal: that is the service's query. The group's tasks are appended.
    bool GetTaskScheduleSettings(std::uint64_t hash, CScheduleData& data);
    bool GetTaskScheduleGroupInfo(const CString& groupHash,
                                  CIndirectArray<CTaskScheduleInfo>& tasks);

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

protected:
    // SendTask with, when given, a copy of `child` as a further child of the
    // command element, after the schedule.
    std::uint64_t SendCommand(const CParamsOwner& params, const CElement* child,
                              const HashArray* depends, const HashArray* fileHashes,
                              const CScheduleData* schedule);

private:
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

    // The general commands. Each uploads its files (10 retries each) and
    // pushes its command; a failed upload ends the call before anything is
    // pushed. COMMAND_INFO is "database:user" unless said otherwise.
    //
    // "SendMail" with the files; true when the task was accepted.
    bool SendMail(const CString& recipient, const CString& subject,
                  const std::vector<CString>& files);
    // "ExportMLT"; a given element travels as a child of the command.
    std::uint64_t ExportMLT(const CString& database, const CString& user, const CElement* element);
    // The file an "ExportMLT" task produced, downloaded to `path`. The message
    // (when asked for) tells why the task failed.
    EAsyncResult GetMLTFile(std::uint64_t task, const CString& path, CString* message);
    // "ImportRVM" with the model file and, when its path isn't empty, the
    // attribute file; a given element travels as a child of the command.
    std::uint64_t ImportRVM(const CString& database, const CString& user, const CString& rvmPath,
                            const CString& attributePath, const CElement* element);
    // "NumerateObjects".
    std::uint64_t Numerate(const CString& database, const CString& user, std::int32_t replace,
                           const CString& filter);
    // "CleanObjects".
    std::uint64_t CleanDatabase(const CString& database, const CString& user);
    // "CollisionCheck" with PROFILE_0, PROFILE_1... (a null entry sends an
    // empty value).
    std::uint64_t CollisionCheck(const CString& database, const CString& user,
                                 const CIndirectArray<CString>& profiles);
};

// The publication commands.
class CProjectServiceTX : public CProjectServiceCommon {
public:
    // Uploads the status file and, unless it is kept locally, the source
    // file, then pushes "CommitPublication" depending on `depends`. The file
    // hashes travel as STATUS_FILE and SOURCE_FILE. `reserved` has no effect
    // on the command.
    bool CommitPublication(const CString& database, const CString& user, std::int32_t publicationId,
                           const CString& publicationUid, const CString& sourcePath,
                           const CString& fileUid, const CString& statusPath,
                           std::int32_t backupPolicy, bool checkInMode, bool keepOpen,
                           bool saveLocally, bool reserved, const CString& dataUid,
                           const HashArray* depends);
    // Uploads the file and pushes "SendPublicationData" with it. `reserved`
    // has no effect on the command.
    std::uint64_t SendPublicationData(const CString& dataUid, const CString& database,
                                      const CString& user, std::int32_t publicationId,
                                      const CString& path, bool reserved);
};
