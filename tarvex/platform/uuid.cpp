#include "tarvex/platform/uuid.h"

#include <cerrno>
#include <cstring>
#include <sys/random.h>

RPC_STATUS UuidCreate(UUID* uuid) noexcept {
    if (!uuid) return RPC_S_UUID_NO_ADDRESS;
    unsigned char bytes[16];
    size_t got = 0;
    while (got < sizeof bytes) {
        ssize_t n = getrandom(bytes + got, sizeof bytes - got, 0);
        if (n < 0) {
            if (errno == EINTR) continue;
            *uuid = GUID_NULL;
            return RPC_S_UUID_NO_ADDRESS;
        }
        got += size_t(n);
    }
    bytes[8] = (bytes[8] & 0x3F) | 0x80; // RFC 4122 variant, shown first in Data4
    std::memcpy(&uuid->Data1, bytes, 4);
    std::memcpy(&uuid->Data2, bytes + 4, 2);
    std::memcpy(&uuid->Data3, bytes + 6, 2);
    std::memcpy(uuid->Data4, bytes + 8, 8);
    // The version is the first hex digit of Data3's text, its top nibble.
    uuid->Data3 = static_cast<std::uint16_t>((uuid->Data3 & 0x0FFF) | 0x4000);
    return RPC_S_OK;
}
