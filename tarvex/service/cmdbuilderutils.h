// CCmdBuilderUtils: the text forms of the project service. Element trees to
// the service's element JSON, narrow and wide conversions, and command
// templates from their JSON text.
//
// Element JSON is one object per element: "id" (integer), "name", then
// "Parameters" (objects of "name" and "value", in the owner's sorted order)
// when the element has parameters, and "Elements" (the children in the same
// form) when it has children. Comments never travel. Trees nested deeper
// than kMaxElementDepth are refused in both directions, so that no reader of
// the tree downstream can be driven into unbounded recursion.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

class CElement;
class CBuildCommandTemplate;

class CCmdBuilderUtils {
public:
    // Levels of elements, the root counting as one.
    static constexpr int kMaxElementDepth = 1000;

    // A new template that the caller owns, or null when the text isn't one.
    // Bytes are skipped past 0xEF, 0xBB and 0xBF (each by itself when it
    // stands next) and read by their size; a string is read up to its first
    // zero, with no such skip. Nothing is thrown for bad input.
    static CBuildCommandTemplate* BuildCommandTemplate(const unsigned char* data, std::size_t size);
    static CBuildCommandTemplate* BuildCommandTemplate(const std::string& text);

    // Compact element JSON; empty for a tree deeper than kMaxElementDepth.
    // The wide form carries names and values through the ANSI code page, so
    // letters it lacks arrive as '?'; the UTF-8 form is what goes on the wire.
    static std::u16string CElementToJsonString(const CElement& element);
    static std::string CElementToJsonStringUtf8(const CElement& element);

    // By the ANSI code page (1251).
    static std::u16string StringToWstring(const std::string& text);
    static std::string WstringToString(const std::u16string& text);
    // By UTF-8.
    static std::u16string Utf8StringToWstring(const std::string& text);
    static std::string WstringToStringUtf8(const std::u16string& text);

private:
    CCmdBuilderUtils() = delete;
    ~CCmdBuilderUtils() = delete;
};
