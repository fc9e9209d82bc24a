#include "tarvex/service/commandtemplate.h"

namespace {

// Deep copies into an empty array of the target; the array's ownership makes
// a copy that fails halfway free what it made.
template <class T>
void CopyAll(const CIndirectArray<T>& source, CIndirectArray<T>& target) {
    for (const T* item : source)
        if (item) target.Add(new T(*item));
}

} // namespace

CBuildCommandTemplate::CFileTemplate::CFileTemplate(const CFileTemplate& other)
    : CTarvexObject(other), m_nHash(other.m_nHash) {
    CopyAll(other.m_arrParts, m_arrParts);
}

CBuildCommandTemplate::CFileTemplate&
CBuildCommandTemplate::CFileTemplate::operator=(const CFileTemplate& other) {
    if (this != &other) *this = CFileTemplate(other);
    return *this;
}

CBuildCommandTemplate::CBuildCommandTemplate(const CBuildCommandTemplate& other)
    : CTarvexObject(other), m_nHash(other.m_nHash) {
    CopyAll(other.m_arrArgumentParts, m_arrArgumentParts);
    CopyAll(other.m_arrFileTemplates, m_arrFileTemplates);
}

CBuildCommandTemplate& CBuildCommandTemplate::operator=(const CBuildCommandTemplate& other) {
    if (this != &other) *this = CBuildCommandTemplate(other);
    return *this;
}
