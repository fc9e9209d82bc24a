#include "tarvex/platform/critsec.h"

void InitializeCriticalSection(CRITICAL_SECTION* section) noexcept {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&section->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

void DeleteCriticalSection(CRITICAL_SECTION* section) noexcept {
    pthread_mutex_destroy(&section->mutex);
}

void EnterCriticalSection(CRITICAL_SECTION* section) noexcept {
    pthread_mutex_lock(&section->mutex);
}

BOOL TryEnterCriticalSection(CRITICAL_SECTION* section) noexcept {
    return pthread_mutex_trylock(&section->mutex) == 0 ? TRUE : FALSE;
}

void LeaveCriticalSection(CRITICAL_SECTION* section) noexcept {
    pthread_mutex_unlock(&section->mutex);
}
