// The blocking HTTP requests under CTXInternetClient.
//
// A request is opened, sent, asked for its status and read in pieces, the way
// the client expects of its platform: each read blocks until the piece is
// full or the body ends. The client only ever sees these two interfaces, so a
// test or a fuzz target can answer requests without a socket.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct CTXRequestTarget {
    const char* verb = "GET";
    std::string host; // UTF-8, without a port
    int port = 80;
    bool secure = false;
    std::string object;     // path and query, UTF-8, as the caller built it
    std::string acceptType; // sent when the headers carry no Accept line
    std::uint32_t receiveTimeoutMs = 0;
    std::string caFile; // PEM bundle trusted for https; empty: the system's
};

class CTXHttpRequest {
public:
    virtual ~CTXHttpRequest() = default;

    // Sends the request with `headers` (lines ended by "\n" or "\r\n") and the
    // body, and blocks until the response headers are in. The body must stay
    // valid until the request is destroyed; SendOwned keeps it here instead.
    virtual bool Send(std::string_view headers, std::string_view body) = 0;
    bool SendOwned(std::string_view headers, std::string body) {
        m_ownedBody = std::move(body);
        return Send(headers, m_ownedBody);
    }
    // Sends a body of `size` bytes that `fill` makes while it goes out:
    // each call writes the next bytes into `out`, at most `room`, and
    // answers how many (0 only at the end). The base makes it whole first.
    using Producer = std::function<std::size_t(char* out, std::size_t room)>;
    virtual bool SendProduced(std::string_view headers, std::uint64_t size, const Producer& fill) {
        std::string body(size, '\0');
        std::size_t done = 0;
        while (done < body.size()) {
            const std::size_t n = fill(body.data() + done, body.size() - done);
            if (n == 0) break;
            done += n;
        }
        body.resize(done);
        return SendOwned(headers, std::move(body));
    }

    // Sends the body made of `count` pieces in turn, which must stay valid
    // as for Send. The base joins them; a transport may stream them instead.
    virtual bool SendGather(std::string_view headers, const std::string_view* pieces,
                            std::size_t count) {
        std::string body;
        for (std::size_t i = 0; i < count; ++i) body.append(pieces[i]);
        return SendOwned(headers, std::move(body));
    }

    // The status of the response; 0 before one has arrived.
    virtual int QueryStatus() const = 0;

    // Fills `buffer` with up to `size` body bytes and blocks until it is full
    // or the body ends. False when nothing could be read because the transfer
    // failed or stalled; a count of 0 with true is the end of the body.
    virtual bool Read(void* buffer, std::uint32_t size, std::uint32_t& count) = 0;

private:
    std::string m_ownedBody;
};

class CTXHttpTransport {
public:
    virtual ~CTXHttpTransport() = default;
    // Null when no request can be made for this target.
    virtual std::unique_ptr<CTXHttpRequest> OpenRequest(const CTXRequestTarget& target) = 0;
};

// The transport over libcurl: proxies from the environment, certificate
// checks on, no redirects followed, receive timeout as "no byte for N ms".
std::shared_ptr<CTXHttpTransport> MakeCurlTransport();
