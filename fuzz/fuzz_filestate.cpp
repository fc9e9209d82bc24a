// Arbitrary bytes as a ".status" file, and as the name and file name of a
// library file whose check-out name is derived.
#include <cstdlib>

#include "fuzz/fuzz_forms_internal.h"
#include "tarvex/forms/libfilestate.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > (1u << 16)) return 0;
    CLibProjectFileState state;
    if (state.LoadFile(FuzzFiles::Write("x.status", data, size))) {
        if (!state.Save(FuzzFiles::Path("y"))) std::abort();
        CLibProjectFileState again;
        if (!again.LoadBySrcName(FuzzFiles::Path("y"))) std::abort();
        if (again.GetStatus().Compare(state.GetStatus()) != 0) std::abort();
    }

    // The bytes as UTF-16: a name, a '|'-free split, a file name.
    const std::size_t units = size / 2;
    std::u16string text(units, u'\0');
    for (std::size_t i = 0; i < units; ++i) text[i] = char16_t(data[2 * i] | data[2 * i + 1] << 8);
    const std::size_t half = units / 2;
    const CString name(std::u16string_view(text).substr(0, half));
    const CString file(std::u16string_view(text).substr(half));
    const CLibFileInfo info(1, name, u"", u"", file, tagTIMESTAMP_STRUCT{}, 0);
    const CString& checkOut = info.GetCheckOutName();
    const bool fullForm = checkOut.GetLength() > name.GetLength() &&
                          checkOut.Left(name.GetLength()).Compare(name) == 0 &&
                          checkOut[name.GetLength()] == u'_';
    // A long "<name>_<file>" form is cut to the limit.
    if (fullForm && checkOut.GetLength() > CLibFileInfo::kCheckOutLimit) std::abort();
    info.GetCheckOutPath(u"/d");
    return 0;
}
