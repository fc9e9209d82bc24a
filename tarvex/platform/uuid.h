// New identifiers: random (version 4) GUIDs from the kernel's generator.
#pragma once

#include "tarvex/platform/guid.h"

using UUID = GUID;
using RPC_STATUS = std::int32_t;
constexpr RPC_STATUS RPC_S_OK = 0;
constexpr RPC_STATUS RPC_S_UUID_NO_ADDRESS = 1739;

// Fills `uuid` with a fresh version-4 GUID; RPC_S_UUID_NO_ADDRESS (and a null
// GUID) when no random bytes can be had.
RPC_STATUS UuidCreate(UUID* uuid) noexcept;
