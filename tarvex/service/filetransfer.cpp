// File transfer: an upload is a begin that yields the service's hash, data
// parts of base64 text and an end, all on "/files/upload"; a download is one
// POST to "/files/download".
//
// Parts: the count is T / kUploadPartChars + 1 for a base64 text of T
// characters, so a text of an exact multiple of the part size sends one more,
// empty, part. T counts the padding: files of 37748734 to 37748736 bytes all
// give T = 50331648 and send two parts; 37748733 bytes is the largest file
// that sends one. The rule is kept as it stands, the empty last part with it.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

#include "tarvex/core/exceptions.h"
#include "tarvex/core/log.h"
#include "tarvex/service/projectserviceapi.h"
#include "tarvex/service/servicewire_internal.h"
#include "tarvex/streams/bytebuffer.h"

using namespace tarvex::service;

namespace {

constexpr const char* kUploadObject = "/files/upload";

// The whole file, or false when it can't be opened or read. Files of 4 GiB
// and more are refused: the upload counts in 32 bits.
bool ReadWholeFile(const CString& path, std::unique_ptr<unsigned char[]>& data,
                   std::uint64_t& size) {
    const int fd = ::open(Utf8(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat info {};
    bool ok = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) &&
              static_cast<std::uint64_t>(info.st_size) < (std::uint64_t{1} << 32);
    if (ok) {
        size = static_cast<std::uint64_t>(info.st_size);
        data.reset(new (std::nothrow) unsigned char[size ? size : 1]);
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
    std::size_t total = 0;
    const auto text = EncodeBase64(data, size, total);
    if (total < 1) return 0;

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
    for (std::uint64_t part = 0; part < parts; ++part) {
        const std::uint64_t offset = part * kUploadPartChars;
        const std::uint64_t count = std::min<std::uint64_t>(kUploadPartChars, total - offset);
        const std::string head = "{\"file\":\"data\", \"file_hash\":" + hashText +
                                 ",\"file_part\":" + std::to_string(static_cast<std::int32_t>(part)) +
                                 ", \"data\":\"";
        constexpr std::string_view tail = "\"}";
        // One part at a time is copied into its body.
        CTXByteBuffer body;
        body.Reset(static_cast<std::uint32_t>(head.size() + count + tail.size()));
        unsigned char* out = body.AsVector();
        std::memcpy(out, head.data(), head.size());
        if (count) std::memcpy(out + head.size(), text.get() + offset, count);
        std::memcpy(out + head.size() + count, tail.data(), tail.size());
        if (!PostRequest(kUploadObject, &auth, body, nullptr)) return 0;
    }

    if (!PostRequest(kUploadObject, &auth,
                     MakeBody("{\"file\":\"end\", \"file_hash\":" + hashText + "}"), nullptr))
        return 0;
    return hash;
}

std::uint64_t CProjectServiceApi::UploadFile(const CString& path, std::int32_t retries) {
    for (;;) {
        std::unique_ptr<unsigned char[]> data;
        std::uint64_t size = 0;
        if (!ReadWholeFile(path, data, size)) {
            CTXLog::FormatLine(u"CProjectServiceApi::UploadFile не удалось открыть файл %s.", path);
            return 0;
        }
        const CString name = NameOfPath(path);
        if (name.IsEmpty()) return 0;
        const std::uint64_t hash = UploadFile(name, data.get(), size);
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
