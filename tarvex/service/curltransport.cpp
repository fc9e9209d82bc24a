// Blocking requests over one libcurl easy handle each, driven through a multi
// handle so that the caller pulls the body: the transfer pauses while more
// than a little unread body is buffered, and each read drives it on until the
// piece is full. The receive timeout counts time without any byte moving, so a
// slow but living transfer never times out and a silent server always does.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <vector>

#include <curl/curl.h>

#include "tarvex/service/httptransport_internal.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kPauseAbove = 1u << 20; // unread bytes held before pausing
constexpr long kConnectTimeoutMs = 60000;
constexpr long kReceiveBufferSize = 256 * 1024;
constexpr long kUploadBufferSize = 1024 * 1024;

void GlobalInit() {
    static const bool done = [] { return curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; }();
    (void)done;
}

bool HasHeader(std::string_view headers, std::string_view name) {
    std::size_t start = 0;
    while (start < headers.size()) {
        std::size_t end = headers.find('\n', start);
        if (end == std::string_view::npos) end = headers.size();
        std::string_view line = headers.substr(start, end - start);
        if (line.size() > name.size() && line[name.size()] == ':' &&
            std::equal(name.begin(), name.end(), line.begin(),
                       [](char a, char b) { return (a | 0x20) == (b | 0x20); }))
            return true;
        start = end + 1;
    }
    return false;
}

// Bytes that curl would refuse in a URL are sent percent-encoded.
std::string EncodeObject(std::string_view object) {
    static const char hex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(object.size());
    for (unsigned char c : object) {
        if (c <= 0x20 || c >= 0x7F) {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        } else {
            out += static_cast<char>(c);
        }
    }
    if (out.empty() || out[0] != '/') out.insert(out.begin(), '/');
    return out;
}

class CCurlRequest final : public CTXHttpRequest {
public:
    explicit CCurlRequest(const CTXRequestTarget& target) : m_target(target) {}
    CCurlRequest(const CCurlRequest&) = delete;
    CCurlRequest& operator=(const CCurlRequest&) = delete;

    ~CCurlRequest() override {
        if (m_added) curl_multi_remove_handle(m_multi, m_easy);
        if (m_easy) curl_easy_cleanup(m_easy);
        if (m_multi) curl_multi_cleanup(m_multi);
        curl_slist_free_all(m_headers);
        if (m_url) curl_url_cleanup(m_url);
    }

    bool Open() {
        m_easy = curl_easy_init();
        m_multi = curl_multi_init();
        m_url = curl_url();
        if (!m_easy || !m_multi || !m_url) return false;
        const std::string port = std::to_string(m_target.port);
        const std::string object = EncodeObject(m_target.object);
        const char* scheme = m_target.secure ? "https" : "http";
        // The URL is built from its parts, never taken from the caller whole,
        // so that nothing before an "@" can act as credentials.
        if (curl_url_set(m_url, CURLUPART_SCHEME, scheme, 0) != CURLUE_OK ||
            curl_url_set(m_url, CURLUPART_HOST, m_target.host.c_str(), 0) != CURLUE_OK ||
            curl_url_set(m_url, CURLUPART_PORT, port.c_str(), 0) != CURLUE_OK)
            return false;
        std::string base = std::string(scheme) + "://placeholder" + object;
        CURLU* parsed = curl_url();
        if (!parsed) return false;
        char* path = nullptr;
        char* query = nullptr;
        bool ok = curl_url_set(parsed, CURLUPART_URL, base.c_str(), 0) == CURLUE_OK &&
                  curl_url_get(parsed, CURLUPART_PATH, &path, 0) == CURLUE_OK;
        if (ok) {
            curl_url_get(parsed, CURLUPART_QUERY, &query, 0);
            ok = curl_url_set(m_url, CURLUPART_PATH, path, 0) == CURLUE_OK &&
                 (!query || curl_url_set(m_url, CURLUPART_QUERY, query, 0) == CURLUE_OK);
        }
        curl_free(path);
        curl_free(query);
        curl_url_cleanup(parsed);
        return ok;
    }

    bool Send(std::string_view headers, std::string_view body) override {
        return SendGather(headers, &body, 1);
    }

    bool SendGather(std::string_view headers, const std::string_view* pieces,
                    std::size_t count) override {
        if (m_sent) return false;
        std::uint64_t total = 0;
        for (std::size_t i = 0; i < count; ++i) total += pieces[i].size();
        m_pieces.assign(pieces, pieces + count);
        return Start(headers, total);
    }

    bool SendProduced(std::string_view headers, std::uint64_t size, const Producer& fill) override {
        if (m_sent) return false;
        m_producer = &fill;
        return Start(headers, size);
    }

private:
    bool Start(std::string_view headers, std::uint64_t total) {
        m_sent = true;
        if (!AddHeaders(headers)) return false;

        CURL* e = m_easy;
        curl_easy_setopt(e, CURLOPT_CURLU, m_url);
        // CURLOPT_NOSIGNAL stays off: with it libcurl would stop shielding the
        // host from SIGPIPE when a TLS peer goes away mid-write, and the
        // threaded resolver needs no alarm signals anyway.
        curl_easy_setopt(e, CURLOPT_USERAGENT, "Tarvex3dViewer");
        curl_easy_setopt(e, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
        curl_easy_setopt(e, CURLOPT_FOLLOWLOCATION, 0L);
        curl_easy_setopt(e, CURLOPT_CONNECTTIMEOUT_MS, kConnectTimeoutMs);
        curl_easy_setopt(e, CURLOPT_BUFFERSIZE, kReceiveBufferSize);
        curl_easy_setopt(e, CURLOPT_HTTPHEADER, m_headers);
        curl_easy_setopt(e, CURLOPT_HEADERFUNCTION, &CCurlRequest::OnHeader);
        curl_easy_setopt(e, CURLOPT_HEADERDATA, this);
        curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, &CCurlRequest::OnBody);
        curl_easy_setopt(e, CURLOPT_WRITEDATA, this);
        curl_easy_setopt(e, CURLOPT_NOPROGRESS, 0L);
        curl_easy_setopt(e, CURLOPT_XFERINFOFUNCTION, &CCurlRequest::OnProgress);
        curl_easy_setopt(e, CURLOPT_XFERINFODATA, this);
        if (!m_target.caFile.empty()) curl_easy_setopt(e, CURLOPT_CAINFO, m_target.caFile.c_str());
        if (std::strcmp(m_target.verb, "POST") == 0) {
            // The body is streamed from the caller's pieces or producer: a
            // large one is never copied whole.
            curl_easy_setopt(e, CURLOPT_POST, 1L);
            curl_easy_setopt(e, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(total));
            curl_easy_setopt(e, CURLOPT_READFUNCTION, &CCurlRequest::OnUpload);
            curl_easy_setopt(e, CURLOPT_READDATA, this);
            curl_easy_setopt(e, CURLOPT_UPLOAD_BUFFERSIZE, kUploadBufferSize);
        } else if (std::strcmp(m_target.verb, "GET") != 0) {
            curl_easy_setopt(e, CURLOPT_CUSTOMREQUEST, m_target.verb);
        }
        if (curl_multi_add_handle(m_multi, e) != CURLM_OK) return false;
        m_added = true;

        const bool sent = Drive([this] { return m_headersDone; });
        m_producer = nullptr; // the caller's producer ends with this call
        return sent && m_headersDone;
    }

public:
    int QueryStatus() const override { return m_headersDone ? m_status : 0; }

    bool Read(void* buffer, std::uint32_t size, std::uint32_t& count) override {
        count = 0;
        if (!m_headersDone) return false;
        auto* out = static_cast<char*>(buffer);
        while (count < size) {
            std::size_t unread = m_body.size() - m_bodyPos;
            if (unread > 0) {
                std::size_t take = std::min<std::size_t>(unread, size - count);
                std::memcpy(out + count, m_body.data() + m_bodyPos, take);
                m_bodyPos += take;
                count += static_cast<std::uint32_t>(take);
                if (m_bodyPos == m_body.size()) {
                    m_body.clear();
                    m_bodyPos = 0;
                }
                continue;
            }
            if (m_done) break;
            if (m_paused) {
                m_paused = false;
                curl_easy_pause(m_easy, CURLPAUSE_CONT);
                continue;
            }
            if (!Drive([this] { return m_body.size() > m_bodyPos; })) break;
        }
        if (count > 0) return true;
        return m_done && m_result == CURLE_OK;
    }

private:
    bool AddHeaders(std::string_view headers) {
        std::size_t start = 0;
        while (start < headers.size()) {
            std::size_t end = headers.find('\n', start);
            if (end == std::string_view::npos) end = headers.size();
            std::string line(headers.substr(start, end - start));
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (!line.empty() && !Append(line.c_str())) return false;
            start = end + 1;
        }
        if (!HasHeader(headers, "Accept") && !m_target.acceptType.empty() &&
            !Append(("Accept: " + m_target.acceptType).c_str()))
            return false;
        // The platform adds no content type of its own, and never waits for
        // "100 Continue".
        if (!HasHeader(headers, "Content-Type") && !Append("Content-Type:")) return false;
        return Append("Pragma: no-cache") && Append("Expect:");
    }

    bool Append(const char* line) {
        curl_slist* next = curl_slist_append(m_headers, line);
        if (!next) return false;
        m_headers = next;
        return true;
    }

    // Runs the transfer until `ready` holds, the transfer ends, or no byte
    // has moved for the receive timeout.
    template <class Ready>
    bool Drive(Ready ready) {
        auto last = Clock::now();
        const auto timeout = std::chrono::milliseconds(m_target.receiveTimeoutMs);
        for (;;) {
            if (ready()) return true;
            if (m_done) return false;
            int running = 0;
            if (curl_multi_perform(m_multi, &running) != CURLM_OK) {
                Finish(CURLE_FAILED_INIT);
                return ready();
            }
            int left = 0;
            while (CURLMsg* msg = curl_multi_info_read(m_multi, &left))
                if (msg->msg == CURLMSG_DONE) Finish(msg->data.result);
            if (ready()) return true;
            if (m_done) return false;
            const auto now = Clock::now();
            if (m_activity) {
                m_activity = false;
                last = now;
            }
            if (m_paused) return ready(); // nothing moves until the caller reads
            const auto idle = now - last;
            if (m_target.receiveTimeoutMs > 0 && idle >= timeout) {
                // A stalled transfer stays failed: later reads end at once.
                m_done = true;
                m_result = CURLE_OPERATION_TIMEDOUT;
                errno = ETIMEDOUT;
                return false;
            }
            auto wait = std::chrono::milliseconds(1000);
            if (m_target.receiveTimeoutMs > 0)
                wait = std::min(
                    wait, std::chrono::duration_cast<std::chrono::milliseconds>(timeout - idle) +
                              std::chrono::milliseconds(1));
            curl_multi_poll(m_multi, nullptr, 0, static_cast<int>(wait.count()), nullptr);
        }
    }

    void Finish(CURLcode result) {
        m_done = true;
        m_result = result;
        if (result == CURLE_OK) return;
        // Callers raise CKVSysException on a failure: its text follows errno.
        errno = result == CURLE_OPERATION_TIMEDOUT ? ETIMEDOUT
                : result == CURLE_COULDNT_CONNECT  ? ECONNREFUSED
                                                   : EIO;
        if (!m_headersDone) m_status = 0;
    }

    static std::size_t OnHeader(char* data, std::size_t, std::size_t n, void* self) {
        auto* r = static_cast<CCurlRequest*>(self);
        r->m_activity = true;
        std::string_view line(data, n);
        if (line.size() >= 12 && line.substr(0, 5) == "HTTP/") {
            std::size_t blank = line.find(' ');
            int status = 0;
            for (std::size_t i = blank + 1; i < line.size() && i < blank + 4; ++i) {
                if (line[i] < '0' || line[i] > '9') {
                    status = 0;
                    break;
                }
                status = status * 10 + (line[i] - '0');
            }
            r->m_pendingStatus = status;
        } else if (line == "\r\n" || line == "\n") {
            // An interim response (100 Continue and its like) is followed by
            // the real one.
            if (r->m_pendingStatus < 100 || r->m_pendingStatus >= 200) {
                r->m_status = r->m_pendingStatus;
                r->m_headersDone = true;
            }
        }
        return n;
    }

    static std::size_t OnBody(char* data, std::size_t, std::size_t n, void* self) {
        auto* r = static_cast<CCurlRequest*>(self);
        r->m_activity = true;
        r->m_headersDone = true;
        if (r->m_body.size() - r->m_bodyPos >= kPauseAbove) {
            r->m_paused = true;
            return CURL_WRITEFUNC_PAUSE;
        }
        if (r->m_bodyPos > 0 && r->m_bodyPos >= r->m_body.size() / 2) {
            r->m_body.erase(0, r->m_bodyPos);
            r->m_bodyPos = 0;
        }
        r->m_body.append(data, n);
        return n;
    }

    static std::size_t OnUpload(char* buffer, std::size_t size, std::size_t n, void* self) {
        auto* r = static_cast<CCurlRequest*>(self);
        const std::size_t room = size * n;
        if (r->m_producer) {
            const std::size_t made = (*r->m_producer)(buffer, room);
            if (made) r->m_activity = true;
            return made;
        }
        std::size_t done = 0;
        while (done < room && r->m_piece < r->m_pieces.size()) {
            const std::string_view piece = r->m_pieces[r->m_piece];
            const std::size_t take = std::min(room - done, piece.size() - r->m_pieceAt);
            std::memcpy(buffer + done, piece.data() + r->m_pieceAt, take);
            done += take;
            r->m_pieceAt += take;
            if (r->m_pieceAt == piece.size()) {
                ++r->m_piece;
                r->m_pieceAt = 0;
            }
        }
        if (done) r->m_activity = true;
        return done;
    }

    static int OnProgress(void* self, curl_off_t, curl_off_t dlnow, curl_off_t, curl_off_t ulnow) {
        auto* r = static_cast<CCurlRequest*>(self);
        if (dlnow != r->m_lastDown || ulnow != r->m_lastUp) {
            r->m_lastDown = dlnow;
            r->m_lastUp = ulnow;
            r->m_activity = true;
        }
        return 0;
    }

    CTXRequestTarget m_target;
    CURL* m_easy = nullptr;
    CURLM* m_multi = nullptr;
    CURLU* m_url = nullptr;
    curl_slist* m_headers = nullptr;
    bool m_sent = false;
    bool m_added = false;
    bool m_headersDone = false;
    bool m_done = false;
    bool m_paused = false;
    bool m_activity = false;
    CURLcode m_result = CURLE_OK;
    int m_pendingStatus = 0;
    int m_status = 0;
    curl_off_t m_lastDown = 0;
    curl_off_t m_lastUp = 0;
    std::string m_body;
    std::size_t m_bodyPos = 0;
    std::vector<std::string_view> m_pieces;
    const Producer* m_producer = nullptr;
    std::size_t m_piece = 0;
    std::size_t m_pieceAt = 0;
};

class CCurlTransport final : public CTXHttpTransport {
public:
    std::unique_ptr<CTXHttpRequest> OpenRequest(const CTXRequestTarget& target) override {
        GlobalInit();
        auto request = std::make_unique<CCurlRequest>(target);
        if (!request->Open()) return nullptr;
        return request;
    }
};

} // namespace

std::shared_ptr<CTXHttpTransport> MakeCurlTransport() {
    static const std::shared_ptr<CTXHttpTransport> transport = std::make_shared<CCurlTransport>();
    return transport;
}
