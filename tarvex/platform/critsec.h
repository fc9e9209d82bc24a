// Critical sections: re-entrant mutexes, as the one thread may nest locks.
//
// A section is ready from static initialisation on, so globals guarded by one
// are safe to touch from other static initialisers.
#pragma once

#include <pthread.h>

#include "tarvex/platform/types.h"

struct _RTL_CRITICAL_SECTION {
    pthread_mutex_t mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
};
using CRITICAL_SECTION = _RTL_CRITICAL_SECTION;

void InitializeCriticalSection(CRITICAL_SECTION* section) noexcept;
void DeleteCriticalSection(CRITICAL_SECTION* section) noexcept;
void EnterCriticalSection(CRITICAL_SECTION* section) noexcept;
BOOL TryEnterCriticalSection(CRITICAL_SECTION* section) noexcept;
void LeaveCriticalSection(CRITICAL_SECTION* section) noexcept;
