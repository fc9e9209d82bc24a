// Arbitrary UTF-16 as a hierarchical-list value comment. A failure must
// point inside the text; a success must write a comment that parses again
// to the same source.
#include <cstdlib>
#include <string>

#include "tarvex/forms/hlist.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 8192) return 0;
    std::u16string text(size / 2, u'\0');
    for (std::size_t i = 0; i < text.size(); ++i)
        text[i] = char16_t(data[2 * i] | data[2 * i + 1] << 8);
    const CString comment(text);

    CHierarchicalListController list(comment);
    if (!list.Init(false)) {
        const int position = list.GetLastErrorPosition();
        if (position < 0 || position > comment.GetLength() || list.GetLastError().IsEmpty())
            std::abort();
        return 0;
    }
    CString written;
    list.GetNewValueComment(written);
    CIndirectArray<CString> names;
    list.GetParamTransfers(names);
    CIndirectArray<CHListNode> items;
    list.GetListItems(items);
    list.SetSelectedItemGuid(u"{S}");
    list.SetSourceGuid(u" X ");
    if (CString(list.GetSourceGuid()).Compare(u"X") != 0) std::abort();
    CHierarchicalListController again(written);
    again.Init(false);
    return 0;
}
