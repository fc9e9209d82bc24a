// A plug-in as an outside author writes one: it sees the interface header and
// nothing else of the library, and reaches the factory through the library's
// C entry point when it is loaded.
#include <string>

#include "txdatainterfaces.h"

using namespace TarvexData;

#define SAMPLE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// Holds one reference and drops it at the end of the scope.
template <class T>
struct Ref {
    Ref() = default;
    Ref(const Ref&) = delete;
    Ref& operator=(const Ref&) = delete;
    ~Ref() {
        if (p) p->Release();
    }
    T* operator->() const { return p; }
    T* p = nullptr;
};

struct Text {
    Text() = default;
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text() { SysFreeString(p); }
    std::u16string Get() const { return p ? std::u16string(p, SysStringLen(p)) : u""; }
    BSTR p = nullptr;
};

// Builds a plant of two items, calculates it, and reads back what it set.
int Run(std::u16string& report) {
    IFactoryInterface* factory = TarvexGetPluginFactory();
    int major = 0, minor = 0;
    if (factory->GetApiVersion(&major, &minor) != 0 || major != 1 || minor != 9) return 1;

    Ref<IElement> plant;
    if (factory->CreateElement(&plant.p, u"Установка") != 0) return 2;
    Ref<IElement> pump;
    plant->AddChild(u"Насос", &pump.p);
    pump->SetParameter(u"Длина", 2.5);
    pump->SetParameter(u"Масса", u"", u"масса, кг", u"=Длина*4");
    pump->SetParameter(u"Марка", u"НД-100");
    Ref<IElement> pipe;
    plant->AddChild(u"Трубопровод", &pipe.p);
    pipe->SetParameter(u"Диаметр", 50);

    plant->CalculateParameters();

    Text mass;
    if (!pump->GetValue(u"масса", &mass.p)) return 3;
    Ref<IParam> mark;
    if (!pump->GetParameter(u"МАРКА", &mark.p)) return 4;
    Text markValue;
    mark->GetValue(&markValue.p);
    Ref<IElement> found;
    if (!plant->FindElementByParameterValue(u"марка", u"нд-100", true, &found.p)) return 5;

    // Errors arrive as exceptions the plug-in cannot name but can catch.
    try {
        pump->GetValue(u"Масса", static_cast<char16_t**>(nullptr));
        return 6;
    } catch (...) {
    }

    report = std::u16string(plant->GetName()) + u"|" + found->GetName() + u"|" + mass.Get() + u"|" +
             markValue.Get() + u"|" + mark->GetUpperName() + u"|" +
             std::u16string(pipe->GetParameterValue(u"диаметр", u"?")) + u"|" +
             (plant->GetChildCount() == 2 ? u"2" : u"?");
    return 0;
}

} // namespace

// 0 when every step worked, else the number of the step that failed; the
// report lists what was read back, separated by '|'.
SAMPLE_EXPORT int SamplePluginRun(char16_t** report) {
    std::u16string text;
    const int failed = Run(text);
    SysReAllocStringLen(report, text.data(), static_cast<unsigned>(text.size()));
    return failed;
}

// A tree made here and given to the host with its one reference.
SAMPLE_EXPORT IElement* SamplePluginMakeTree() {
    IElement* root = nullptr;
    if (TarvexGetPluginFactory()->CreateElement(&root, u"Схема") != 0) return nullptr;
    for (const char16_t* name : {u"Узел 1", u"Узел 2"}) {
        Ref<IElement> child;
        root->AddChild(name, &child.p);
        child->SetParameter(u"Тип", u"клапан", u"тип узла");
    }
    return root;
}
