#include "tarvex/service/internetclient.h"

#include <cerrno>
#include <fcntl.h>
#include <new>
#include <sys/file.h>
#include <unistd.h>

#include "tarvex/core/exceptions.h"
#include "tarvex/core/log.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/platform/syserror.h"
#include "tarvex/platform/wide.h"
#include "tarvex/service/httptransport_internal.h"
#include "tarvex/streams/bytebuffer.h"
#include "tarvex/streams/charstream.h"

// What InternetOpen gives: the transport and the options every request of
// the session carries.
struct CTXInternetSession {
    std::shared_ptr<CTXHttpTransport> transport;
    std::uint32_t receiveTimeout = 0;
    std::string caFile;
};

// What InternetConnect gives: a host and port. Like the platform's, it does
// no I/O; the first request finds out whether anyone listens.
struct CTXInternetConnection {
    std::shared_ptr<CTXInternetSession> session;
    std::string host;
    std::uint16_t port = 0;
    bool secure = false;
};

void CTXRequestCloser::operator()(CTXHttpRequest* request) const noexcept {
    delete request;
}

namespace {

constexpr std::uint32_t kBufferPiece = 1021;
constexpr std::uint32_t kBatchSize = 1024 * kBufferPiece;
constexpr std::uint32_t kFilePiece = 16384;
constexpr std::uint32_t kTextPiece = 20477;

const char16_t* StatusText(std::int32_t status) {
    switch (status) {
    case 400:
        return u"Неверный запрос";
    case 401:
        return u"Ошибка авторизации";
    case 403:
        return u"Доступ запрещен";
    case 404:
        return u"Ресурс не найден";
    case 405:
        return u"Использование метода запрещено";
    case 406:
        return u"Недопустимо";
    case 407:
        return u"Требуется авторизация прокси";
    case 408:
        return u"Превышено время ожидания.";
    case 409:
        return u"Конфликт";
    case 410:
        return u"Ресурс более не доступен";
    case 411:
        return u"Необходимо указание длины";
    case 412:
        return u"Предварительные условия не выполнены";
    case 413:
        return u"Запрос слишком велик для обработки сервером";
    case 414:
        return u"Слишком большая длина URI";
    case 415:
        return u"Неподдерживаемое содержимое";
    case 416:
        return u"Неверный диапазон";
    case 417:
        return u"Сервер не соответствует ожиданиям";
    case 418:
        return u"Я-чайник";
    case 421:
        return u"Сервер не может подготовить ответ";
    case 422:
        return u"Необрабатываемый объект";
    case 423:
        return u"Блокировано";
    case 424:
        return u"Ошибка зависимости";
    case 425:
        return u"Слишком рано";
    case 426:
        return u"Требуется обновление";
    case 428:
        return u"Требуется предварительное условие";
    case 429:
        return u"Слишком много запросов";
    case 431:
        return u"Слишком большой заголовок запроса";
    case 500:
        return u"Внутренняя ошибка сервера";
    case 501:
        return u"Не реализовано";
    case 502:
        return u"Неверный шлюз";
    case 503:
        return u"Сервис недоступен";
    case 504:
        return u"Превышено время ожидания шлюза";
    case 505:
        return u"Неподдерживаемая версия HTTP";
    case 506:
        return u"Циклическая ссылка";
    case 507:
        return u"Неподдерживаемое хранилище";
    case 508:
        return u"Обнаружено зацикливание";
    case 510:
        return u"Отсутствуют требуемые расширения";
    case 511:
        return u"Сеть требует аутентификации";
    default:
        return u"Неопознанная ошибка";
    }
}

std::string Narrow(const char16_t* text) {
    return text ? tarvex::ToUtf8(std::u16string_view(text)) : std::string();
}

// Closes the descriptor on every way out.
struct CFileCloser {
    int fd;
    ~CFileCloser() {
        if (fd >= 0) ::close(fd);
    }
};

} // namespace

CTXInternetClient::CTXInternetClient() = default;
CTXInternetClient::CTXInternetClient(const CTXInternetClient& other) = default;
CTXInternetClient& CTXInternetClient::operator=(const CTXInternetClient& other) = default;
CTXInternetClient::~CTXInternetClient() = default;

void CTXInternetClient::SetCertificateAuthorityFile(const char16_t* path) {
    m_strCAFile = path;
}

void CTXInternetClient::SetTransport(std::shared_ptr<CTXHttpTransport> transport) {
    m_pTransport = std::move(transport);
}

bool CTXInternetClient::IsConnected() const {
    return m_hConnection != nullptr;
}

bool CTXInternetClient::OpenConnection(const char16_t* url, const char16_t* user,
                                       const char16_t* password, CString* error,
                                       const char16_t* /*database*/) {
    m_strUrlForMessages = url;
    const int at = m_strUrlForMessages.Find(u'@');
    if (at > 0) m_strUrlForMessages = m_strUrlForMessages.Left(at);
    CTXLog::Line(u"Соединение с web-сервисом...");

    try {
        auto session = std::make_shared<CTXInternetSession>();
        session->transport = m_pTransport ? m_pTransport : MakeCurlTransport();
        if (!session->transport)
            throw CKVSysException(u"Ошибка открытия Интернет-соединения.", KV_CODE_POS());
        session->receiveTimeout = m_nReceiveTimeout;
        session->caFile = Narrow(m_strCAFile);
        m_hInternet = session;

        m_strServiceUrl = url;
        const int schemeEnd = m_strServiceUrl.Find(u"://");
        if (schemeEnd < 0) KV_THROW(u"Ошибка в URL сервиса (не указан протокол).");
        if (m_strServiceUrl.Left(schemeEnd).CompareNoCase(u"https") == 0) {
            m_nPort = 443;
            m_nRequestFlags = kSecureFlag;
        } else {
            m_nPort = 80;
            m_nRequestFlags = 0;
        }

        // A host of up to 3 characters, port included, is refused.
        const int hostStart = schemeEnd + 3;
        const int slash = m_strServiceUrl.Find(u'/', hostStart);
        if (slash < 0 || slash - hostStart < 4)
            KV_THROW(u"Ошибка в URL сервиса (не указан каталог).");
        m_strHost = m_strServiceUrl.Mid(hostStart, slash - hostStart);
        m_strPath = m_strServiceUrl.Mid(slash);

        InitAuthentication(user, password);

        const int colon = m_strHost.Find(u':');
        if (colon >= 0) {
            m_nPort = _wtoi(m_strHost.Mid(colon + 1));
            m_strHost = m_strHost.Left(colon);
        }

        auto connection = std::make_shared<CTXInternetConnection>();
        connection->session = session;
        connection->host = Narrow(m_strHost);
        connection->port = static_cast<std::uint16_t>(m_nPort);
        connection->secure = (m_nRequestFlags & kSecureFlag) != 0;
        m_hConnection = std::move(connection);

        CTXLog::Line(u"Соединение с сервисом открыто.");
        return true;
    } catch (const CKVException& e) {
        Close();
        const CString message = e.GetMessageW();
        if (error) *error = message;
        CKVException::LogErrorMsgFmt(u"Соединение закрыто. %s. URL сервиса: %s", message,
                                     m_strUrlForMessages);
        return false;
    } catch (...) {
        Close();
        CString message;
        message.Format(u"Соединение закрыто. Неопознанная ошибка при попытке соединения с "
                       u"сервисом: %s",
                       m_strUrlForMessages);
        if (error) *error = message;
        CKVException::LogErrorMsg(message);
        return false;
    }
}

void CTXInternetClient::InitAuthentication(const char16_t* user, const char16_t* password) {
    // A second connection keeps the first credentials.
    if (m_strUser.IsEmpty()) {
        m_strUser = user;
        m_strPassword = password;
    }
    m_strSpare1.Empty();
}

void CTXInternetClient::Close() {
    CTXLog::Line(u"Disconnecting web service");
    m_hInternet.reset();
    m_hConnection.reset();
}

void CTXInternetClient::ProcessException(const CString& /*responseText*/) const {}

HTXREQUEST CTXInternetClient::OpenRequestA(const char* verb, const char* object,
                                           const char* accept) const {
    if (!m_hConnection) return nullptr;
    const CTXInternetConnection& connection = *m_hConnection;
    CTXRequestTarget target;
    target.verb = verb;
    target.host = connection.host;
    target.port = connection.port;
    target.secure = connection.secure;
    target.object = object ? object : "";
    target.acceptType = accept ? accept : "";
    target.receiveTimeoutMs = connection.session->receiveTimeout;
    target.caFile = connection.session->caFile;
    return HTXREQUEST(connection.session->transport->OpenRequest(target).release());
}

HTXREQUEST CTXInternetClient::OpenRequest(const char* verb, const CString& object,
                                          const char* accept) const {
    return OpenRequestA(verb, Narrow(object).c_str(), accept);
}

void CTXInternetClient::PreparePOSTRequest(const char16_t* headers, const char16_t* body,
                                           HTXREQUEST& request, const char16_t* object) const {
    request = OpenRequest("POST", object ? CString(object) : m_strPath, "application/xml");
    if (!request) throw CKVSysException(u"Ошибка открытия запроса.", KV_CODE_POS());
    PostStringUTF8Converted(request, headers, body);
    ProcessHttpResult(request->QueryStatus(), request);
}

void CTXInternetClient::PrepareGETRequest(const char16_t* suffix, HTXREQUEST& request) const {
    CString object = m_strPath;
    object += suffix;
    request = OpenRequest("GET", object, "*/*");
    if (!request) throw CKVSysException(u"Ошибка открытия запроса.", KV_CODE_POS());
    if (!request->Send({}, {})) throw CKVSysException(u"Ошибка отправки запроса.", KV_CODE_POS());
    ProcessHttpResult(request->QueryStatus(), request);
}

void CTXInternetClient::PostStringUTF8Encoded(HTXREQUEST& request, const char16_t* headers,
                                              const char* bytes, std::uint32_t count) const {
    std::string body = bytes ? std::string(bytes, count) : std::string();
    if (!request || !request->SendOwned(Narrow(headers), std::move(body)))
        throw CKVSysException(u"Ошибка отправки запроса.", KV_CODE_POS());
}

void CTXInternetClient::PostStringUTF8Converted(HTXREQUEST& request, const char16_t* headers,
                                                const char16_t* text) const {
    // Through the string builder, as every text the library sends: each
    // 16-bit unit is converted by itself, with no XML escaping.
    CStringBuilderStream stream;
    stream.setEncoding(COutStream::eEncodingUTF8);
    if (text) stream.write(text);
    std::string body(static_cast<const char*>(stream.GetBuffer()), stream.GetByteLength());
    if (!request || !request->SendOwned(Narrow(headers), std::move(body)))
        throw CKVSysException(u"Ошибка отправки запроса.", KV_CODE_POS());
}

void CTXInternetClient::ProcessHttpResult(std::int32_t status, HTXREQUEST& request) const {
    if (status == 200) return;
    CString message;
    message.Format(u"Ошибка %d: %s.", status, StatusText(status));
    CString body;
    GetResponseUTF8(request, body);
    ProcessException(body);
    if (!body.IsEmpty()) message.AppendFormat(u" %s", body);
    throw CKVException(message, KV_CODE_POS());
}

bool CTXInternetClient::GetResponseBytes(HTXREQUEST& request, CTXByteBuffer& buffer) const {
    try {
        if (!request) return false;
        // Pieces of 1021 bytes are gathered and appended a batch at a time,
        // each append still growing the buffer to its exact new size: one
        // reallocation per piece turns quadratic once the heap has to move
        // the block (glibc then moves its page tables on every call).
        std::unique_ptr<unsigned char[]> batch(new (std::nothrow) unsigned char[kBatchSize]);
        if (!batch) KV_THROW(u"Ошибка размещения буфера");
        std::uint32_t filled = 0;
        for (;;) {
            std::uint32_t count = 0;
            if (!request->Read(batch.get() + filled, kBufferPiece, count) || count == 0) break;
            filled += count;
            if (kBatchSize - filled < kBufferPiece) {
                buffer.Write(batch.get(), filled);
                filled = 0;
            }
        }
        buffer.Write(batch.get(), filled);
        return true;
    } catch (...) {
        CKVException::LogErrorMsg(u"Error retrieve response");
        return false;
    }
}

bool CTXInternetClient::GetResponseBytes(HTXREQUEST& request, const char16_t* path) const {
    try {
        if (!request) return false;
        // Create, write, exclusive: another writer holding the file makes
        // this fail as a sharing violation would.
        CFileCloser file{::open(Narrow(path).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644)};
        if (file.fd >= 0 && ::flock(file.fd, LOCK_EX | LOCK_NB) != 0) {
            ::close(file.fd);
            file.fd = -1;
            errno = EBUSY;
        }
        if (file.fd < 0 || ::ftruncate(file.fd, 0) != 0) {
            CString reason = tarvex::SystemMessage(static_cast<DWORD>(errno));
            if (reason.GetLength() > 511) reason = reason.Left(511);
            CKVException::LogErrorMsgFmt(u"Ошибка создания файла: %s.", reason);
            return false;
        }
        static thread_local unsigned char piece[kFilePiece];
        for (;;) {
            std::uint32_t count = 0;
            if (!request->Read(piece, kFilePiece, count) || count == 0) break;
            for (std::uint32_t done = 0; done < count;) {
                const ssize_t n = ::write(file.fd, piece + done, count - done);
                if (n < 0 && errno == EINTR) continue;
                if (n <= 0) KV_THROW(u"Ошибка записи файла");
                done += static_cast<std::uint32_t>(n);
            }
        }
        return true;
    } catch (...) {
        CKVException::LogErrorMsg(u"Error retrieve response");
        return false;
    }
}

bool CTXInternetClient::GetResponseUTF8(HTXREQUEST& request, CString& text) const {
    try {
        if (!request) return false;
        // Each piece is decoded by itself: a character split across two
        // pieces is damaged, which error texts can bear.
        static thread_local char piece[kTextPiece + 3];
        for (;;) {
            std::uint32_t count = 0;
            if (!request->Read(piece, kTextPiece, count) || count == 0) break;
            const CString part = tarvex::FromUtf8(std::string_view(piece, count));
            text.Append(part.GetString(), part.GetLength());
        }
        return true;
    } catch (...) {
        CKVException::LogErrorMsg(u"Error retrieve response");
        return false;
    }
}
