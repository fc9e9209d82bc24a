// Text helpers: numbered descriptions, delimited lists, dates, HTML colours
// and the pieces of file paths.
//
// Path helpers take the last '/' or '\' as the separator, so Windows paths
// kept in documents split too.
#pragma once

#include <cstdint>

#include "tarvex/core/containers.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/timestamp.h"

class CKVStringHelper {
public:
    template <class... Args>
    static CString Format(const char16_t* format, const Args&... args) {
        CString text;
        text.Format(format, args...);
        return text;
    }

    // For "12. Pipe": number 12, result "Pipe" (pointing into `text`). Leading
    // digits are skipped, then a point and one blank after it. Text that starts
    // with neither a digit nor a point comes back whole with number 0; null
    // text gives "".
    static const char16_t* ExtractNumAndDescription(const char16_t* text, int& number);
    // "%d. %s".
    static CString CombineNumAndDescription(const char16_t* description, int number);

    // Splits `text` at runs of `delimiters`, trims each token and adds it by
    // the array's sorted Add, so duplicates stay and tokens that trim to
    // nothing are added as empty strings. The array owns the new strings.
    static void GetSubstrings(const char16_t* text, CSortedIndirectArray<CString>& sortedIndirect,
                              const char16_t* delimiters);
    // The same with the delimiter ';'.
    static void GetSubstrings(const char16_t* text, CSortedArray<CString>& sorted);
    // The same with the delimiter ';', in text order.
    static void GetSubstrings(const char16_t* text, TArrayTemplate<CString>& array);

    // Joins with "; "; empty for an empty array.
    static CString CombineString(const TArrayTemplate<CString>& array);
    static void CombineString(const TArrayTemplate<CString>& array, CString& out);
    static void CombineString(const CSortedArray<CString>& sorted, CString& out);

    // The date and time in the user's format, or the "invalid date" resource
    // text when the fields do not make a date that reads back the same.
    static CString DateToString(const tagTIMESTAMP_STRUCT& timestamp);

    // "#rrggbb" of the low three bytes, high to low; "#aarrggbb" when the top
    // byte is an alpha strictly between 0 and 255. Lower-case hexadecimal.
    static CString ColorToHTMLColor(std::uint32_t color);
    // Reads "#" and three or four hex pairs into the low three or all four
    // bytes, high to low. False, with `color` untouched, otherwise.
    static bool HTMLColorToColor(const char16_t* text, std::uint32_t& color);

    // The part behind the last separator (the whole path without one), but
    // only if it contains a point; otherwise empty.
    static CString ExtractFileNameAndExt(const CString& path);
    static CString ExtractFileNameWithoutExt(const CString& path);
    // From the last point of the name on; empty when there is no such name.
    static CString ExtractFileExt(const CString& path, bool withPoint);
    // Cuts `path` before its last point and appends "." and `extension`.
    // False when either is empty or the path has no point.
    static bool ReplaceFileExt(CString& path, const char16_t* extension);
    // The path unchanged when it has no file name with a point, or its last
    // separator is missing or first. Otherwise the left part of length
    // (path length - separator position): this is not the folder for most
    // paths, but stored data and callers depend on exactly this cut.
    static CString ExtractFilePath(const CString& path);
};
