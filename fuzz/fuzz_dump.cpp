// Arbitrary bytes read as an unpacked dump: the input's first byte picks the
// sequence of value forms. Every failure is a CKVException, blob lengths are
// checked before memory is taken, and texts stay inside their buffer.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "tarvex/core/exceptions.h"
#include "tarvex/database/odbcdump.h"
#include "tarvex/platform/codepage.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1 || size > (1u << 16)) return 0;
    // One scratch file per process, removed when the process ends.
    static const struct Scratch {
        std::string name = "/tmp/tarvex_fuzz_dump_" + std::to_string(getpid());
        ~Scratch() { std::remove(name.c_str()); }
    } scratch;
    const std::string& name = scratch.name;
    if (FILE* file = std::fopen(name.c_str(), "wb")) {
        std::fwrite(data + 1, 1, size - 1, file);
        std::fclose(file);
    }
    CIndirectArray<CTXByteBuffer> buffers;
    CODBCDumpReader reader(&buffers);
    try {
        reader.Open(tarvex::FromUtf8(name));
        short version;
        std::uint64_t count;
        reader.ReadHeader(version, count);
        std::uint8_t plan = data[0];
        for (int field = 0; field < 64; ++field) {
            std::int64_t indicator = 0;
            switch ((plan + field * 5) % 7) {
            case 0: {
                double v;
                reader.FieldIO(0, v, indicator);
                break;
            }
            case 1: {
                int v;
                reader.FieldIO(0, v, indicator);
                break;
            }
            case 2: {
                _GUID v;
                reader.FieldIO(0, v, indicator);
                break;
            }
            case 3: {
                tagTIMESTAMP_STRUCT v;
                reader.FieldIO(0, v, indicator);
                break;
            }
            case 4: {
                char16_t text[17];
                reader.FieldIO(0, text, indicator, 17);
                break;
            }
            case 5: {
                _tagOdbcBlobField v;
                reader.FieldIO(0, v);
                break;
            }
            default: {
                _tagOdbcTextField v;
                reader.FieldIO(0, v);
                break;
            }
            }
        }
    } catch (const CKVException&) {
    }
    return 0;
}
