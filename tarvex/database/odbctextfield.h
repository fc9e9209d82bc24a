// _tagOdbcTextField: a text field of a record that owns its bytes and is
// sent as data at execution, its length announced up front.
#pragma once

#include <cstdint>

#include "tarvex/database/odbcbinding.h"
#include "tarvex/streams/bytebuffer.h"

struct _tagOdbcTextField : _tagOdbcBlobField {
    _tagOdbcTextField() { InitBlob(); }
    _tagOdbcTextField(const _tagOdbcTextField&) = delete;
    _tagOdbcTextField& operator=(const _tagOdbcTextField&) = delete;

    // Copies the text with its terminator; `indicator` becomes
    // SQL_LEN_DATA_AT_EXEC of the byte count. Null reads as empty.
    void SetString(const char16_t* text);
    // Characters, without the terminator; -1 while no text was set.
    std::int64_t GetStringLen() const { return std::int64_t(buffer.GetLength() / 2) - 1; }

    CTXByteBuffer buffer;
};
