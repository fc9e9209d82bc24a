#include <cstdio>

#include "tarvex/tarvex.h"

int main(int argc, char** argv) {
    CElement plant; // the root of an element tree
    if (argc < 3 || !plant.ReadFromFile(tarvex::FromUtf8(argv[1]))) return 2;
    plant.CalculateParameters(); // every formula of the tree, in dependency order
    CString mass = plant.GetParameterValueEx(u"Масса", u"?", false);
    std::printf("Масса = %s\n", tarvex::ToUtf8(mass.View()).c_str());
    CString head; // a formula of one's own, evaluated on one element
    CCompiledFunction::CountStrS(head, u"Напор / 102 & \" МПа\"", plant.GetChild(u"Насос_Н-1"));
    std::printf("Насос_Н-1: %s\n", tarvex::ToUtf8(head.View()).c_str());
    return plant.WriteToFile(tarvex::FromUtf8(argv[2])) ? 0 : 1; // saved atomically
}
