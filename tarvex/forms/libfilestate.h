// Library files: the ".status" companion beside a file of a project library,
// the database record that decides a file's check-out name, and a row of
// variants compared by value.
#pragma once
#include <cstdint>

#include "tarvex/core/indirectarray.h"
#include "tarvex/element/param.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/olevariant.h"
#include "tarvex/platform/timestamp.h"
#include "tarvex/streams/xml/xmlschema.h"

class CXMLOutStream;

// <FileState name status> with <FileNameBase>, <FileNameFull> and
// <FileNameCustom>, each carrying the four texts of a parameter.
class CLibProjectFileState : public CXMLStreamableObject {
public:
    enum EMember : int { eFileNameBase = 1, eFileNameFull = 2, eFileNameCustom = 3 };

    CLibProjectFileState() = default;
    CLibProjectFileState(const CLibProjectFileState&) = default;
    CLibProjectFileState& operator=(const CLibProjectFileState&) = default;
    ~CLibProjectFileState() override = default;

    // Writes `path` + ".status"; the name becomes the last component of
    // `path`. 1 or 0.
    int Save(const char16_t* path);
    // The companion of the library file `path`. 0 for an empty path.
    int LoadBySrcName(const char16_t* path);
    // A ".status" file itself. A document of another root leaves the object
    // as it was.
    int LoadFile(const char16_t* path);

    static int LoadParameter(CParam& param, CXMLAttrs& attrs);
    int OnXMLTag(CXMLSchemaInStream& stream, int id, const char16_t* name, const char16_t* value,
                 CXMLAttrs& attrs) override;

    const CString& GetStatus() const { return status; }
    void SetStatus(const char16_t* text) { status = text; }
    const CString& GetName() const { return name; }
    const CParam& GetFileNameBase() const { return fileNameBase; }
    const CParam& GetFileNameFull() const { return fileNameFull; }
    const CParam& GetFilenameCustom() const { return fileNameCustom; }
    void SetFileNameFull(CParam param) { fileNameFull = std::move(param); }
    void SetFileNameBase(CParam param) { fileNameBase = std::move(param); }
    void SetFilenameCustom(CParam param) { fileNameCustom = std::move(param); }

protected:
    static void WriteParam(CXMLOutStream& stream, const CParam& param, const char16_t* tag);

private:
    CString status;
    CString name;
    CParam fileNameBase;
    CParam fileNameFull;
    CParam fileNameCustom;
};

// A library file as the database lists it. The constructor derives the name
// under which the file is checked out: "<name>_<file name>", shortened before
// its extension to at most kCheckOutLimit characters, or "<name>.<ext>" when
// that cannot be made valid.
class CLibFileInfo : public CTarvexObject {
public:
    static constexpr int kCheckOutLimit = 150;

    CLibFileInfo(std::int32_t number, const char16_t* name, const char16_t* text1,
                 const char16_t* text2, const char16_t* fileName, const tagTIMESTAMP_STRUCT& stamp,
                 std::int32_t number2);
    ~CLibFileInfo() override = default;

    // False when the name has `limit` characters or more, or holds one of
    // \ * ? / " | : > <.
    static bool IsValidFileName(const char16_t* name, int limit);
    // "<folder>/<check-out name>", with control characters and the forbidden
    // ones replaced by '_'.
    CString GetCheckOutPath(const char16_t* folder) const;

    std::int32_t GetNumber() const { return number; }
    std::int32_t GetNumber2() const { return number2; }
    const CString& GetName() const { return name; }
    const CString& GetText1() const { return text1; }
    const CString& GetText2() const { return text2; }
    const CString& GetFileName() const { return fileName; }
    const tagTIMESTAMP_STRUCT& GetTimeStamp() const { return stamp; }
    const CString& GetCheckOutName() const { return checkOutName; }

private:
    void MakeCheckOutName();

    std::int32_t number;
    std::int32_t number2;
    CString name;
    CString text1;
    CString text2;
    CString fileName;
    tagTIMESTAMP_STRUCT stamp;
    CString checkOutName;
};

// A database row of variants.
class CDBVarRecord : public CIndirectArray<COleVariant> {
public:
    CDBVarRecord() : CIndirectArray<COleVariant>(8, 8, true, -8) {}
    // Records of different length differ. Values compare as the formula
    // language compares them (an object by its value, 3-vectors as vectors).
    bool IsEqual(const CDBVarRecord& other) const;
};
