// CBuildCommandTemplate: which numbered parts make up the arguments and the
// files of a service command, for one command hash. The library only reads
// and holds it (CCmdBuilderUtils::BuildCommandTemplate); what the numbers
// select is the business of the host and the service.
#pragma once

#include <cstdint>

#include "tarvex/core/indirectarray.h"
#include "tarvex/core/object.h"

class CBuildCommandTemplate : public CTarvexObject {
public:
    class CArgumentPart : public CTarvexObject {
    public:
        explicit CArgumentPart(std::uint64_t value) : m_nValue(value) {}
        std::uint64_t m_nValue;
    };

    class CFileTemplate : public CTarvexObject {
    public:
        class CFilePart : public CTarvexObject {
        public:
            explicit CFilePart(std::uint64_t value) : m_nValue(value) {}
            std::uint64_t m_nValue;
        };

        explicit CFileTemplate(std::uint64_t hash) : m_nHash(hash) {}
        // Copies hold parts of their own.
        CFileTemplate(const CFileTemplate& other);
        CFileTemplate& operator=(const CFileTemplate& other);
        CFileTemplate(CFileTemplate&& other) noexcept = default;
        CFileTemplate& operator=(CFileTemplate&& other) noexcept = default;
        ~CFileTemplate() override = default;

        std::uint64_t m_nHash;
        CIndirectArray<CFilePart> m_arrParts;
    };

    explicit CBuildCommandTemplate(std::uint64_t hash) : m_nHash(hash) {}
    CBuildCommandTemplate(const CBuildCommandTemplate& other);
    CBuildCommandTemplate& operator=(const CBuildCommandTemplate& other);
    CBuildCommandTemplate(CBuildCommandTemplate&& other) noexcept = default;
    CBuildCommandTemplate& operator=(CBuildCommandTemplate&& other) noexcept = default;
    ~CBuildCommandTemplate() override = default;

    std::uint64_t m_nHash;
    CIndirectArray<CArgumentPart> m_arrArgumentParts{10, 10};
    CIndirectArray<CFileTemplate> m_arrFileTemplates{10, 10};
};
