// File transfer: an upload is a begin that yields the service's hash, data
// parts of base64 text and an end, all on "/files/upload"; a download is one
// POST to "/files/download".
//
// Parts: the count is T / kUploadPartChars + 1 for a base64 text of T
// characters, so a text of an exact multiple of the part size sends one more,
// empty, part. T counts the padding: files of 37748734 to 37748736 bytes all
// give T = 50331648 and send two parts; 37748733 bytes is the largest file
// that sends one. The rule is kept as it stands, the empty last part with it.
//
// Memory: the file stays in memory through the upload; each part's base64
// text is made while the part goes out, between its JSON head and tail, so
// neither the whole text nor a copy of a part is ever held.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

#include "tarvex/core/exceptions.h"
#include "tarvex/core/log.h"
#include "tarvex/service/httptransport_internal.h"
#include "tarvex/service/projectserviceapi.h"
#include "tarvex/service/servicewire_internal.h"
#include "tarvex/streams/base64.h"
#include "tarvex/streams/bytebuffer.h"

using namespace tarvex::service;

namespace {

constexpr const char* kUploadObject = "/files/upload";

// The whole file, or false when it can't be opened or read. Files of 4 GiB
// and more are refused: the upload counts in 32 bits.
bool ReadWholeFile(const CString& path, LargeBlock& data, std::uint64_t& size) {
    const int fd = ::open(Utf8(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat info {};
    bool ok = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) &&
              static_cast<std::uint64_t>(info.st_size) < (std::uint64_t{1} << 32);
    if (ok) {
        size = static_cast<std::uint64_t>(info.st_size);
        data = AllocateLarge(size);
        if (!data) {
            ::close(fd);
            KV_THROW(u"Ошибка размещения буфера");
        }
        std::uint64_t done = 0;
        while (ok && done < size) {
            const ssize_t n = ::read(fd, data.get() + done, size - done);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                ok = false; // the file shrank or failed under us
                break;
            }
            done += static_cast<std::uint64_t>(n);
        }
    }
    ::close(fd);
    return ok;
}

// One data body: its JSON head, the base64 of its slice of the file made
// while the body goes out, and the closing "\"}". A part starts on a whole
// group of three bytes, so its text is exactly its slice of the file's text.
class CPartWriter {
public:
    CPartWriter(std::string head, const unsigned char* data, std::uint64_t count)
        : m_pending(std::move(head)), m_data(data), m_left(count),
          m_size(m_pending.size() + (count + 2) / 3 * 4 + 2) {}

    std::uint64_t Size() const { return m_size; }

    std::size_t Fill(char* out, std::size_t room) {
        std::size_t done = 0;
        while (done < room) {
            if (m_at < m_pending.size()) {
                const std::size_t n = std::min(room - done, m_pending.size() - m_at);
                std::memcpy(out + done, m_pending.data() + m_at, n);
                m_at += n;
                done += n;
            } else if (m_left >= 3 && room - done >= 5) {
                // Whole groups straight into the transport's buffer; the
                // encoder's terminating zero needs one byte of room more.
                const std::uint64_t groups =
                    std::min<std::uint64_t>(m_left / 3, (room - done - 1) / 4);
                done += CFastBase64::chromium_base64_encode(
                    out + done, reinterpret_cast<const char*>(m_data), groups * 3);
                m_data += groups * 3;
                m_left -= groups * 3;
            } else if (m_left > 0) {
                // The padded last group, or too little room: through a scratch.
                const std::size_t take =
                    static_cast<std::size_t>(std::min<std::uint64_t>(m_left, 3));
                char scratch[8];
                const std::size_t n = CFastBase64::chromium_base64_encode(
                    scratch, reinterpret_cast<const char*>(m_data), take);
                m_pending.assign(scratch, n);
                m_at = 0;
                m_data += take;
                m_left -= take;
            } else if (!m_closed) {
                m_pending = "\"}";
                m_at = 0;
                m_closed = true;
            } else {
                break;
            }
        }
        return done;
    }

private:
    std::string m_pending; // bytes made and not yet handed out
    std::size_t m_at = 0;
    const unsigned char* m_data;
    std::uint64_t m_left;
    std::uint64_t m_size;
    bool m_closed = false;
};

CString NameOfPath(const CString& path) {
    int cut = -1;
    for (int i = path.GetLength() - 1; i >= 0; --i)
        if (path[i] == u'/' || path[i] == u'\\') {
            cut = i;
            break;
        }
    return path.Mid(cut + 1);
}

} // namespace

std::uint64_t CProjectServiceApi::UploadFile(const CString& name, const unsigned char* data,
                                             std::uint64_t size) {
    if (!data || size < 1) {
        CTXLog::FormatLine(u"CProjectServiceApi::UploadFile файл %s пустой, отправка не имеет "
                           u"смысла.",
                           name);
        return 0;
    }
    const std::string auth = GetAuthHeader();
    const std::uint64_t total = (size + 2) / 3 * 4; // the base64 text's length, padding in

    CTXByteBuffer response;
    if (!PostRequest(kUploadObject, &auth,
                     MakeBody("{\"file\":\"begin\", \"name\":\"" + Utf8(name) + "\"}"), &response))
        return 0;
    rapidjson::Document document;
    if (!ParseObject(response, document)) return 0;
    const rapidjson::Value* state = StringMember(document, "file");
    std::uint64_t hash = 0;
    if (!state || std::string_view(state->GetString(), state->GetStringLength()) != "created" ||
        !HashMember(document, "file_hash", hash))
        return 0;

    const std::string hashText = std::to_string(hash);
    const std::uint64_t parts = total / kUploadPartChars + 1;
    constexpr std::uint64_t kPartBytes = kUploadPartChars / 4 * 3;
    for (std::uint64_t part = 0; part < parts; ++part) {
        const std::uint64_t start = part * kPartBytes;
        const std::uint64_t count = start < size ? std::min(kPartBytes, size - start) : 0;
        CPartWriter writer("{\"file\":\"data\", \"file_hash\":" + hashText + ",\"file_part\":" +
                               std::to_string(static_cast<std::int32_t>(part)) + ", \"data\":\"",
                           data + start, count);
        const auto send = [&writer](CTXHttpRequest& request, std::string_view headers) {
            return request.SendProduced(
                headers, writer.Size(),
                [&writer](char* out, std::size_t room) { return writer.Fill(out, room); });
        };
        if (!DoPostWith(kUploadObject, &auth, send, nullptr, nullptr)) return 0;
    }

    if (!PostRequest(kUploadObject, &auth,
                     MakeBody("{\"file\":\"end\", \"file_hash\":" + hashText + "}"), nullptr))
        return 0;
    return hash;
}

std::uint64_t CProjectServiceApi::UploadFile(const CString& path, std::int32_t retries) {
    for (;;) {
        LargeBlock data;
        std::uint64_t size = 0;
        if (!ReadWholeFile(path, data, size)) {
            CTXLog::FormatLine(u"CProjectServiceApi::UploadFile не удалось открыть файл %s.", path);
            return 0;
        }
        const CString name = NameOfPath(path);
        if (name.IsEmpty()) return 0;
        const std::uint64_t hash =
            UploadFile(name, reinterpret_cast<const unsigned char*>(data.get()), size);
        if (hash != 0) return hash;
        CKVException::LogErrorMsgFmt(u"Ошибка отправки файла %s на сервер. Попыток осталось: %d.",
                                     path, retries);
        data.reset();
        if (--retries < 0) return 0;
    }
}

bool CProjectServiceApi::DownloadFile(std::uint64_t hash, CTXByteBuffer& buffer) {
    const std::string auth = GetAuthHeader();
    return PostRequest("/files/download", &auth,
                       MakeBody("{\"file_hash\":" + std::to_string(hash) + "}"), &buffer);
}

bool CProjectServiceApi::DownloadFile(std::uint64_t hash, const CString& path) {
    const std::string auth = GetAuthHeader();
    return PostRequest("/files/download", &auth,
                       MakeBody("{\"file_hash\":" + std::to_string(hash) + "}"), path);
}
