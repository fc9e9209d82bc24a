// CKVZipHelper: zip archives (in files, from folders or memory records) and
// raw deflate streams in memory.
//
// Archives go through minizip; raw deflate is zlib's, with no header or
// trailer (negative window bits). Entry names are written in UTF-8 with the
// general-purpose flag that says so; on reading, that flag or Info-ZIP's
// Unicode path field selects UTF-8, and code page 866 is assumed otherwise.
// Archive failures throw CKVException; the raw deflate calls answer false
// for the two expected failures (no gain when growth is refused, a bad
// stream).
#pragma once

#include <cstdint>

#include "tarvex/core/arraytemplate.h"
#include "tarvex/core/indirectarray.h"
#include "tarvex/core/object.h"
#include "tarvex/platform/cstring.h"

class CKVZipHelper {
public:
    class CZipRec : public CTarvexObject {
    public:
        CZipRec() = default;
        CZipRec(const char16_t* name) : name(name) {}

        CString name; // path inside the archive, '/' between folders
        TArrayTemplate<unsigned char> data;
    };

    // Archives the tree under `folder` with names relative to it; symbolic
    // links are skipped, never followed. With `deleteFolder` the tree is
    // removed afterwards (a link is removed, not what it points at). Answers
    // true whatever the single adds gave; only a failed create throws.
    static bool MakeZipFolder(const char16_t* folder, const char16_t* zipPath, bool deleteFolder);
    // Extracts every entry under `folder`, creating it and missing subfolders.
    // An absolute name or a ".." step is refused before anything is written
    // for that entry, and links already inside `folder` are not followed.
    static bool ExtractZipToFolder(const char16_t* zipPath, const char16_t* folder);

    static bool MakeZip(const CIndirectArray<CZipRec>& records, const char16_t* zipPath);
    static bool MakeZip(const char16_t* name, const TArrayTemplate<unsigned char>& data,
                        const char16_t* zipPath);
    // Appends one record per entry. Data is read in chunks and never beyond
    // the size the entry declares, so a lying header cannot force a large
    // allocation.
    static bool ExtractZip(const char16_t* zipPath, CIndirectArray<CZipRec>& records);

    // Deflates into `out`. When the result is larger than the input and
    // `allowGrowth` is false, answers false with `out` empty: the caller keeps
    // the data as it is. An empty input gives an empty stream.
    static bool MakeRawDeflate(void* data, unsigned int size, TArrayTemplate<unsigned char>& out,
                               bool allowGrowth);
    static bool MakeRawDeflate(TArrayTemplate<unsigned char>& data,
                               TArrayTemplate<unsigned char>& out, bool allowGrowth);
    // Inflates into `out`. A stream cut short answers true with what it gave;
    // corrupt data or memory exhaustion answers false.
    static bool ExtractRawDeflate(void* data, unsigned int size,
                                  TArrayTemplate<unsigned char>& out);
    static bool ExtractRawDeflate(TArrayTemplate<unsigned char>& data,
                                  TArrayTemplate<unsigned char>& out);

    // The result code of the last zip call, as the failure texts show it.
    // 0x80000 marks a handle that was not open for the operation. Shared by
    // all threads without a guard.
    static std::int32_t GetLastZipResult() { return m_nLastZipResult; }

private:
    static std::int32_t m_nLastZipResult;
};
