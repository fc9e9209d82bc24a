// The command-line host: loads a parameter list into an element, and shows
// what the library makes of each parameter.
//
//   tarvex [file]   a file of lines "name = value [; value comment]"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "tarvex/tarvex.h"

namespace {

std::string Utf8(const CString& text) {
    return tarvex::ToUtf8(text.View());
}

// One line of the example format; false for blanks and comments.
bool ParseLine(const std::string& line, CParam& param) {
    CString text = tarvex::FromUtf8(line);
    text.Trim();
    if (text.IsEmpty() || text[0] == u'#') return false;
    int equals = text.Find(u'=');
    if (equals <= 0) return false;
    CString name = text.Left(equals).Trim();
    CString rest = text.Mid(equals + 1);
    CString valueComment;
    if (int semicolon = rest.Find(u';'); semicolon >= 0) {
        valueComment = rest.Mid(semicolon + 1).Trim();
        rest = rest.Left(semicolon);
    }
    param = CParam(name, rest.Trim(), nullptr, valueComment);
    return true;
}

// A round trip through the pieces every later layer stands on.
bool SelfCheck() {
    CParam param(u"Ёмкость", u"1,5", nullptr, u" =A*2");
    CString roundTrip = tarvex::FromUtf8(Utf8(param.UpperName()));
    CString formatted;
    formatted.Format(u"%s=%.3f", roundTrip, _wtof(param.getstrValue()));
    return roundTrip == u"ЁМКОСТЬ" && param.IsCalculated() && formatted == u"ЁМКОСТЬ=1.000" &&
           tarvex::DecodeCodePage(CP_WINDOWS_1251,
                                  tarvex::EncodeCodePage(CP_WINDOWS_1251, roundTrip.View())) ==
               roundTrip;
}

} // namespace

int main(int argc, char** argv) {
    std::printf("tarvex %s\n", TARVEX_VERSION_STRING);
    bool ok = SelfCheck();
    std::printf("self-check: %s\n", ok ? "passed" : "FAILED");
    if (argc < 2) return ok ? 0 : 1;

    std::ifstream file(argv[1], std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "cannot open %s\n", argv[1]);
        return 2;
    }
    CElement item(u"Example");
    std::string line;
    while (std::getline(file, line)) {
        CParam parsed;
        if (!ParseLine(line, parsed)) continue;
        if (item.HasParameter(parsed.getName())) {
            std::printf("duplicate parameter %s ignored\n", Utf8(parsed.getName()).c_str());
            continue;
        }
        item.SetParameter(parsed.getName(), parsed.getstrValue(), nullptr,
                          parsed.getValueComment());
    }

    std::printf("%lld parameters, in key order:\n", static_cast<long long>(item.GetParamsCount()));
    for (int64_t i = 0; i < item.GetParamsCount(); ++i) {
        const CParam& p = *item.GetParameter(i);
        CString text;
        text.Format(u"  %-12s %-12s value \"%s\" as number %s", p.getName(), p.UpperName(),
                    p.getstrValue(), tarvex::DblToString(_wtof(p.getstrValue())));
        if (p.IsCalculated()) text.AppendFormat(u" (formula %s)", p.getValueComment());
        std::printf("%s\n", Utf8(text).c_str());
    }
    // Lookups fold the case of Cyrillic and Latin names alike.
    std::printf("length by lookup of \"длина\": %d\n", item.GetParameterValue(u"длина", 0));
    return ok ? 0 : 1;
}
