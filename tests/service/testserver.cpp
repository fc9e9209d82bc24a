#include "tests/service/testserver.h"

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

#include <openssl/err.h>
#include <openssl/ssl.h>

namespace testing_service {

namespace {

// The certificate and key live in a temporary folder for the process's life.
struct CertificateFolder {
    std::filesystem::path dir;
    CertificateFolder() {
        char pattern[] = "/tmp/tarvex-tls-XXXXXX";
        if (!::mkdtemp(pattern)) throw std::runtime_error("mkdtemp");
        dir = pattern;
        const std::string command =
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
            "-subj /CN=127.0.0.1 -addext subjectAltName=IP:127.0.0.1 -keyout " +
            (dir / "key.pem").string() + " -out " + (dir / "cert.pem").string() +
            " >/dev/null 2>&1";
        if (std::system(command.c_str()) != 0) throw std::runtime_error("openssl req failed");
    }
    ~CertificateFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }
};

const CertificateFolder& Certificates() {
    static const CertificateFolder folder;
    return folder;
}

} // namespace

struct TestServer::Connection {
    int fd = -1;
    SSL* ssl = nullptr;

    ~Connection() {
        if (ssl) {
            SSL_shutdown(ssl);
            SSL_free(ssl);
        }
        if (fd >= 0) ::close(fd);
    }
    long Read(char* buffer, std::size_t size) {
        if (ssl)
            return SSL_read(ssl, buffer, static_cast<int>(std::min<std::size_t>(size, 1 << 30)));
        return ::recv(fd, buffer, size, 0);
    }
    bool Write(const char* data, std::size_t size) {
        while (size > 0) {
            long n =
                ssl ? SSL_write(ssl, data, static_cast<int>(std::min<std::size_t>(size, 1 << 20)))
                    : ::send(fd, data, size, MSG_NOSIGNAL);
            if (n <= 0) return false;
            data += n;
            size -= static_cast<std::size_t>(n);
        }
        return true;
    }
};

std::string TestServer::CertificateFile() {
    return (Certificates().dir / "cert.pem").string();
}

TestServer::TestServer(bool tls) : m_tls(tls) {
    std::signal(SIGPIPE, SIG_IGN);
    if (tls) {
        SSL_CTX* context = SSL_CTX_new(TLS_server_method());
        const auto& dir = Certificates().dir;
        if (!context ||
            SSL_CTX_use_certificate_file(context, (dir / "cert.pem").c_str(), SSL_FILETYPE_PEM) !=
                1 ||
            SSL_CTX_use_PrivateKey_file(context, (dir / "key.pem").c_str(), SSL_FILETYPE_PEM) != 1)
            throw std::runtime_error("TLS context");
        m_sslContext = context;
    }
    m_listen = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof address;
    if (m_listen < 0 || ::bind(m_listen, reinterpret_cast<sockaddr*>(&address), sizeof address) ||
        ::listen(m_listen, 16) ||
        ::getsockname(m_listen, reinterpret_cast<sockaddr*>(&address), &length))
        throw std::runtime_error("listen");
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { Run(); });
}

TestServer::~TestServer() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_stopped.notify_all();
    m_thread.join();
    ::close(m_listen);
    if (m_sslContext) SSL_CTX_free(static_cast<SSL_CTX*>(m_sslContext));
}

std::string TestServer::Url(const std::string& path) const {
    return std::string(m_tls ? "https" : "http") + "://127.0.0.1:" + std::to_string(m_port) + path;
}

std::u16string TestServer::Url16(const std::string& path) const {
    const std::string url = Url(path);
    return std::u16string(url.begin(), url.end());
}

void TestServer::Push(Reply reply) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_replies.push_back(std::move(reply));
}

std::vector<Request> TestServer::Requests() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_requests;
}

std::size_t TestServer::RequestCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_requests.size();
}

void TestServer::WaitForStop() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_stopped.wait(lock, [this] { return m_stop; });
}

void TestServer::Run() {
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_stop) return;
        }
        pollfd waiting{m_listen, POLLIN, 0};
        if (::poll(&waiting, 1, 20) <= 0) continue;
        Connection connection;
        connection.fd = ::accept4(m_listen, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection.fd < 0) continue;
        timeval timeout{5, 0};
        ::setsockopt(connection.fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
        if (m_tls) {
            connection.ssl = SSL_new(static_cast<SSL_CTX*>(m_sslContext));
            SSL_set_fd(connection.ssl, connection.fd);
            if (SSL_accept(connection.ssl) != 1) {
                ERR_clear_error();
                continue; // the client refused the certificate
            }
        }
        Serve(connection);
    }
}

void TestServer::Serve(Connection& connection) {
    Request request;
    if (!ReadRequest(connection, request)) return;
    Reply reply;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_requests.push_back(std::move(request));
        if (m_replies.empty()) {
            reply.status = 599;
            reply.reason = "Unscripted";
        } else {
            reply = std::move(m_replies.front());
            m_replies.pop_front();
        }
    }
    Answer(connection, reply);
}

bool TestServer::ReadRequest(Connection& connection, Request& request) {
    std::string data;
    char buffer[65536];
    std::size_t headEnd;
    while ((headEnd = data.find("\r\n\r\n")) == std::string::npos) {
        const long n = connection.Read(buffer, sizeof buffer);
        if (n <= 0) return false;
        data.append(buffer, static_cast<std::size_t>(n));
    }
    request.head = data.substr(0, headEnd + 4);
    std::uint64_t length = 0;
    for (std::size_t at = 0; (at = request.head.find("\r\n", at)) != std::string::npos;) {
        at += 2;
        if (::strncasecmp(request.head.c_str() + at, "Content-Length:", 15) == 0)
            length = std::strtoull(request.head.c_str() + at + 15, nullptr, 10);
    }
    std::string rest = data.substr(headEnd + 4);
    request.bodySize = rest.size();
    if (rest.size() <= m_bodyLimit) request.body = std::move(rest);
    while (request.bodySize < length) {
        const long n = connection.Read(
            buffer, std::min<std::uint64_t>(sizeof buffer, length - request.bodySize));
        if (n <= 0) return false;
        request.bodySize += static_cast<std::uint64_t>(n);
        if (request.body.size() + static_cast<std::size_t>(n) <= m_bodyLimit)
            request.body.append(buffer, static_cast<std::size_t>(n));
    }
    return true;
}

void TestServer::Answer(Connection& connection, const Reply& reply) {
    if (reply.stallBeforeHeaders) {
        WaitForStop();
        return;
    }
    std::string head;
    const std::string* body = &reply.body;
    if (!reply.raw.empty()) {
        head = reply.raw;
        body = nullptr;
    } else {
        const std::uint64_t size = reply.generatedSize ? reply.generatedSize : reply.body.size();
        head = "HTTP/1.1 " + std::to_string(reply.status) + " " + reply.reason + "\r\n" +
               reply.headers;
        if (reply.contentLength) head += "Content-Length: " + std::to_string(size) + "\r\n";
        head += "Connection: close\r\n\r\n";
    }

    std::uint64_t budget = reply.cutAfter;
    auto send = [&](const char* data, std::uint64_t size) {
        const std::uint64_t n = std::min(size, budget);
        budget -= n;
        return connection.Write(data, n) && n == size;
    };
    bool whole = send(head.data(), head.size());
    if (whole && body && reply.generatedSize) {
        // Whole periods per chunk: every chunk starts at the same phase.
        std::string chunk(kGeneratedPeriod * 1024, '\0');
        for (std::size_t i = 0; i < chunk.size(); ++i) chunk[i] = GeneratedByte(i);
        for (std::uint64_t at = 0; whole && at < reply.generatedSize; at += chunk.size())
            whole =
                send(chunk.data(), std::min<std::uint64_t>(chunk.size(), reply.generatedSize - at));
    } else if (whole && body && reply.dripPauseMs > 0) {
        for (std::size_t i = 0; whole && i < body->size(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(reply.dripPauseMs));
            whole = send(body->data() + i, 1);
        }
    } else if (whole && body) {
        whole = send(body->data(), body->size());
    }
    if (!whole && reply.stallAtCut) WaitForStop();
}

} // namespace testing_service
