// CKVLock: a scoped hold on a critical section.
#pragma once

#include "tarvex/platform/critsec.h"

class CKVLock {
public:
    explicit CKVLock(_RTL_CRITICAL_SECTION& section) : m_section(section), m_bLocked(false) {
        Lock();
    }
    CKVLock(_RTL_CRITICAL_SECTION& section, bool lockNow) : m_section(section), m_bLocked(false) {
        if (lockNow) Lock();
    }
    CKVLock(const CKVLock&) = delete;
    CKVLock& operator=(const CKVLock&) = delete;
    ~CKVLock() { Unlock(); }

    void Lock() {
        if (!m_bLocked) {
            EnterCriticalSection(&m_section);
            m_bLocked = true;
        }
    }
    bool TryLock() {
        if (!m_bLocked) m_bLocked = TryEnterCriticalSection(&m_section) != FALSE;
        return m_bLocked;
    }
    void Unlock() {
        if (m_bLocked) {
            LeaveCriticalSection(&m_section);
            m_bLocked = false;
        }
    }
    bool IsLocked() const { return m_bLocked; }

private:
    _RTL_CRITICAL_SECTION& m_section;
    bool m_bLocked;
};
