// Arbitrary UTF-16 text written as CSV fields in every encoding; a carriage
// return at the end of a field must not read past it.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "tarvex/streams/csvfile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > (1u << 16)) return 0;
    std::vector<char16_t> text(size / 2 + 1, 0);
    for (std::size_t i = 0; i + 1 < size; i += 2)
        text[i / 2] = char16_t(data[i] | data[i + 1] << 8);
    std::string name = "/tmp/tarvex_fuzz_csv_" + std::to_string(getpid()) + ".csv";
    std::u16string path(name.begin(), name.end());
    for (int encoding = 0; encoding < 4; ++encoding) {
        CCSVFile csv;
        csv.SetEncoding(encoding);
        if (size > 0) csv.SetDivider(char16_t(data[0] % 2 ? u',' : u';'));
        if (!csv.Open(path.c_str(), nullptr)) return 0;
        // Fields end at every zero unit of the input.
        const char16_t* field = text.data();
        const char16_t* end = text.data() + text.size() - 1;
        while (field < end) {
            csv.WriteField(field);
            while (field < end && *field != 0) ++field;
            ++field;
        }
        csv.WriteLastField(u"");
        csv.Close();
    }
    std::remove(name.c_str());
    return 0;
}
