#include "tarvex/dictionary/paramsprotection.h"

#include "tarvex/core/exceptions.h"
#include "tarvex/dictionary/paramsxml_internal.h"
#include "tarvex/dictionary/dictionaryfiles.h"
#include "tarvex/element/paramsowner.h"
#include "tarvex/streams/xml/xmloutstream.h"

namespace {

CString Upper(const char16_t* name) {
    CString upper(name);
    upper.MakeUpper();
    return upper;
}

} // namespace

int64_t CParamsProtectionList::Search(const CString& upperName, int64_t& position) const {
    return TarvexDetail::SortedSearch(
        records.GetData(), records.GetLength(), position,
        [&upperName](const CProtectionRecord* record) { return upperName.Compare(record->name); });
}

void CParamsProtectionList::SetProtectedParameter(const char16_t* name, std::uint32_t word) {
    const CString upper = Upper(name);
    int64_t position;
    const int64_t index = Search(upper, position);
    if (word == 0) {
        if (index >= 0) records.Delete(index);
    } else if (index >= 0) {
        records[index]->word = word;
    } else {
        records.InsertAt(position, new CProtectionRecord(upper, word));
    }
}

void CParamsProtectionList::SetProtectedParameter(const char16_t* name, EParamProtection first,
                                                  EParamProtection second, EParamProtection third,
                                                  bool lock) {
    const std::uint32_t word = (std::uint32_t(first) & 3) | (std::uint32_t(second) & 3) << 2 |
                               (std::uint32_t(third) & 3) << 4 | (lock ? kLockBit : 0);
    SetProtectedParameter(name, word);
}

std::uint32_t CParamsProtectionList::GetParamProtection(const char16_t* name) const {
    int64_t position;
    const int64_t index = Search(Upper(name), position);
    return index >= 0 ? records[index]->word : 0;
}

int CParamsProtectionList::GetActionProtection(std::uint32_t word, int action, bool& locked) {
    locked = (word & kLockBit) != 0;
    if (action < 1 || action > 3) return 0;
    return int(word >> (2 * (action - 1)) & 3);
}

bool CParamsProtectionList::GetParamProtection(const char16_t* name, int action, bool& flag,
                                               bool& locked) const {
    flag = false;
    locked = false;
    if (action == ParamActionNone) return false;
    const int protection = GetActionProtection(GetParamProtection(name), action, locked);
    if (locked) return true;
    if (protection == ParamProtectionKeep) {
        flag = true;
        return true;
    }
    return protection == ParamProtectionSkip;
}

bool CParamsProtectionList::ToggleParamLock(const char16_t* name) {
    const std::uint32_t word = GetParamProtection(name) ^ kLockBit;
    SetProtectedParameter(name, word);
    return (word & kLockBit) != 0;
}

bool CParamsProtectionList::GetProtection(int64_t index, CString& name, std::uint32_t& word) const {
    if (index < 0 || index >= records.GetLength()) return false;
    name = records[index]->name;
    word = records[index]->word;
    return true;
}

// ---------------------------------------------------------------------------
// File form

int CParamsProtectionList::Save() {
    return fileName.IsEmpty() ? 0 : Save(fileName);
}

int CParamsProtectionList::Save(const char16_t* name) {
    if (name == nullptr || *name == 0) return 0;
    fileName = name;
    const CString path = DictionaryFiles::SettingsPath(u"", name);
    return path.IsEmpty() ? 0 : SaveFile(path);
}

int CParamsProtectionList::SaveFile(const char16_t* path) const {
    try {
        CXMLOutStream stream;
        if (!stream.Create(path)) return 0;
        int ok = stream.BeginTable(u"Protection");
        for (int64_t i = 0; ok && i < records.GetLength(); ++i) {
            CXMLAttrs attrs;
            attrs.AddAttr(u"name", records[i]->name.GetString());
            attrs.AddAttr(u"protection", std::int64_t(records[i]->word));
            ok = stream.EmptyItem(u"Parameter", &attrs);
        }
        if (ok) ok = stream.EndTable();
        // Thrown so that the unwinding drops the temporary file.
        if (!ok) throw CKVException(u"", u"");
        return stream.Close();
    } catch (const CKVException&) {
        return 0;
    }
}

int CParamsProtectionList::Load(const char16_t* name) {
    Flush();
    if (name == nullptr || *name == 0) return 0;
    fileName = name;
    const CString path = DictionaryFiles::SettingsPath(u"", name);
    return path.IsEmpty() ? 0 : LoadFile(path);
}

namespace {

int OnProtectionTag(void* context, CXMLSchemaInStream&, int id, const char16_t*, const char16_t*,
                    CXMLAttrs& attrs) {
    if (id != ParamsXml::kProtectionParameter) return 1;
    CString name;
    if (!attrs.GetAttr(u"name", name)) return 1;
    std::int64_t word = 0;
    if (!attrs.GetAttr(u"protection", word)) {
        // Files of the older form give a state instead of a word.
        int state = 0;
        attrs.GetAttr(u"state", state);
        word = state == 2 ? 8 : state == 3 ? 42 : 0;
    }
    static_cast<CParamsProtectionList*>(context)->SetProtectedParameter(name, std::uint32_t(word));
    return 1;
}

} // namespace

int CParamsProtectionList::LoadFile(const char16_t* path) {
    Flush();
    CXMLSchemaInStream stream(ParamsXml::ProtectionSchema());
    CXMLAttrs attrs;
    if (!stream.Open(path, attrs)) return 0;
    return stream.ReadXML(OnProtectionTag, this);
}

int CParamsProtectionList::LoadFromMemory(const void* data, int length) {
    Flush();
    CXMLSchemaInStream stream(ParamsXml::ProtectionSchema());
    CXMLAttrs attrs;
    if (!stream.Open(data, length, attrs)) return 0;
    return stream.ReadXML(OnProtectionTag, this);
}

// ---------------------------------------------------------------------------
// The protected copy of a parameter owner.

void CParamsOwner::CopyParamsFrom(const CParamsOwner& source,
                                  const CParamsProtectionList& protectionList, int action) {
    if (&source == this) return;
    // Parameters the action may not replace stay; the rest go.
    for (int64_t i = m_Params.GetLength() - 1; i >= 0; --i) {
        if (action != ParamActionNone) {
            bool locked;
            const int protection = CParamsProtectionList::GetActionProtection(
                protectionList.GetParamProtection(m_Params[i]->getName()), action, locked);
            if (locked || protection == ParamProtectionKeep || protection == ParamProtectionSkip)
                continue;
        }
        m_Params.Delete(i);
    }
    for (int64_t i = 0; i < source.GetParamsCount(); ++i) {
        const CParam* from = source.m_Params[i];
        if (action != ParamActionNone) {
            bool locked;
            const int protection = CParamsProtectionList::GetActionProtection(
                protectionList.GetParamProtection(from->getName()), action, locked);
            if (locked || protection == ParamProtectionSkip) continue;
            if (protection == ParamProtectionKeep) {
                if (!HasParameter(from->getName()))
                    SetParameter(from->getName(), u"", from->getComment(), from->getValueComment());
                continue;
            }
        }
        SetParameter(from->getName(), from->getstrValue(), from->getComment(),
                     from->getValueComment());
    }
}
