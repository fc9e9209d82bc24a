// Reads a plant document, evaluates a formula on one of its elements and
// saves the tree as JSON.
#include <cstdio>

#include "tarvex/tarvex.h"

int main(int argc, char** argv) {
    CElement plant;
    if (argc < 2 || !plant.ReadFromFile(tarvex::FromUtf8(argv[1]))) return 2;
    CElement* pump = plant.GetChild(u"Насос_Н-1");
    CString mass;
    CCompiledFunction::CountStrS(mass, u"Масса_агрегата + Масса_рамы", pump);
    std::printf("%s: Масса = %s\n", tarvex::ToUtf8(pump->GetName()).c_str(),
                tarvex::ToUtf8(mass.View()).c_str());
    return 0;
}
