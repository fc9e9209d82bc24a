// Arbitrary bytes as a form configuration file: loaded, saved both ways,
// loaded again, and its images extracted into a folder of their own.
#include <cstdlib>
#include <filesystem>

#include "fuzz/fuzz_forms_internal.h"
#include "tarvex/core/exceptions.h"
#include "tarvex/forms/formconfig.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > (1u << 16)) return 0;
    CFormConfigData form;
    if (!form.Load(FuzzFiles::Write("form.xml", data, size))) return 0;
    for (int64_t i = 0; i < form.parameters.GetLength(); ++i) {
        const CString key = form.parameters[i]->GetKeyName();
        // The first parameter of a key is found by it.
        if (form.GetParamIdByName(key) > i) std::abort();
    }
    form.Save(FuzzFiles::Path("plain/out.xml"), false);
    if (form.Save(FuzzFiles::Path("embedded.xml"), true)) {
        CFormConfigData again;
        if (!again.Load(FuzzFiles::Path("embedded.xml"))) std::abort();
    }
    const std::filesystem::path images = FuzzFiles::Folder() + "/images";
    std::filesystem::create_directories(images);
    try {
        form.ExtractJpegs(FuzzFiles::Path("images"));
        form.EncodeJpegs(FuzzFiles::Path("images"));
    } catch (const CKVException&) {
        // A file that cannot be written (a name too long for the system).
    }
    // Nothing may land beside the folder.
    for (const auto& entry : std::filesystem::directory_iterator(FuzzFiles::Folder())) {
        const std::string name = entry.path().filename().string();
        if (name != "form.xml" && name != "plain" && name != "embedded.xml" && name != "images")
            std::abort();
    }
    std::filesystem::remove_all(images);
    return 0;
}
