// CParamsProtectionList: per parameter name, what each of three kinds of bulk
// copy may do with the parameter, and whether it is locked against all of
// them.
//
// The protection word: bits 0-1 for action 1, bits 2-3 for action 2, bits
// 4-5 for action 3, and 0x100 the lock. CParamsOwner::CopyParamsFrom with a
// list consults it.
#pragma once

#include <cstdint>

#include "tarvex/core/containers.h"
#include "tarvex/platform/cstring.h"

// The bulk action a copy performs; 0 applies no protection.
enum EParamAction : int {
    ParamActionNone = 0,
    ParamAction1 = 1,
    ParamAction2 = 2,
    ParamAction3 = 3,
};

// What an action does with a parameter.
enum EParamProtection : int {
    ParamProtectionNone = 0, // copied (so is any value but 1 and 2)
    ParamProtectionKeep = 1, // keeps the target's state; made empty when missing
    ParamProtectionSkip = 2, // left out of the copy
};

class CParamsProtectionList : public CTarvexObject {
public:
    static constexpr std::uint32_t kLockBit = 0x100;

    class CProtectionRecord : public CTarvexObject {
    public:
        CProtectionRecord(const CString& name, std::uint32_t word) : name(name), word(word) {}
        bool operator==(const CProtectionRecord& other) const { return name == other.name; }
        bool operator<(const CProtectionRecord& other) const { return name < other.name; }

        CString name; // upper case
        std::uint32_t word;
    };

    CParamsProtectionList() : records(2, 32, true, -8) {}

    // A word of 0 removes the record.
    void SetProtectedParameter(const char16_t* name, std::uint32_t word);
    // Values above 3 keep their two low bits.
    void SetProtectedParameter(const char16_t* name, EParamProtection first,
                               EParamProtection second, EParamProtection third, bool lock);
    // 0 when there is no record.
    std::uint32_t GetParamProtection(const char16_t* name) const;
    // Whether the list decides for `action`: `flag` true keeps the target's
    // state (protection 1); false with a true result leaves the parameter
    // out (protection 2, or locked). Action 0 decides nothing.
    bool GetParamProtection(const char16_t* name, int action, bool& flag, bool& locked) const;
    // The action's two bits of `word` (0 for actions outside 1 to 3);
    // `locked` gets the lock bit.
    static int GetActionProtection(std::uint32_t word, int action, bool& locked);
    bool IsLocked(const char16_t* name) const { return (GetParamProtection(name) & kLockBit) != 0; }
    // The new state of the lock.
    bool ToggleParamLock(const char16_t* name);
    bool GetProtection(int64_t index, CString& name, std::uint32_t& word) const;
    int64_t GetCount() const { return records.GetLength(); }
    void Flush() { records.Flush(); }

    // The file lies in the settings root under the given name.
    int Save();
    int Save(const char16_t* name);
    int SaveFile(const char16_t* path) const;
    int Load(const char16_t* name);
    int LoadFile(const char16_t* path);
    int LoadFromMemory(const void* data, int length);
    const CString& GetFileName() const { return fileName; }

private:
    int64_t Search(const CString& upperName, int64_t& position) const;

    CString fileName;
    CSortedIndirectArray<CProtectionRecord> records;
};
