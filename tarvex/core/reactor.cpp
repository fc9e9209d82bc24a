#include "tarvex/core/reactor.h"

#include "tarvex/core/hostui.h"
#include "tarvex/core/paths.h"

// Built before the other globals of the library, since those may register
// from their own constructors. Borrows the reactors: they belong to whoever
// made them.
__attribute__((init_priority(200))) CIndirectArray<CTXRuntimeStateReactor>
    CTXRuntimeStateReactor::m_reactors(0, 16, false, -8);

namespace {

constexpr char16_t kMasterHostCaption[] = u"Tarvex";
constexpr char16_t kMasterHostWarning[] =
    u"Внимание!\nПрограмма работает в режиме ГЛАВНОГО РАБОЧЕГО МЕСТА.\n\n"
    u"Это значит, что все сделанные Вами изменения настроек попадут в сетевые настройки для "
    u"всей рабочей группы.";

} // namespace

void CTXRuntimeStateReactor::RegisterReactor(CTXRuntimeStateReactor* reactor) {
    if (reactor) m_reactors.Add(reactor);
}

void CTXRuntimeStateReactor::UnregisterReactor(CTXRuntimeStateReactor* reactor) {
    int64_t index = m_reactors.Find(reactor);
    if (index >= 0) m_reactors.Delete(index);
}

// The loops read the length afresh on every step, so a reactor may
// unregister itself while it is being called (the one after it is then
// skipped for this round).
void CTXRuntimeStateReactor::FireLoadComplete() {
    if (IsMasterHost())
        MessageBoxW(nullptr, kMasterHostWarning, kMasterHostCaption, MB_OK | MB_ICONEXCLAMATION);
    for (int64_t i = 0; i < m_reactors.GetLength(); ++i) m_reactors[i]->OnLoadComplete();
}

void CTXRuntimeStateReactor::FireStartUnload() {
    for (int64_t i = 0; i < m_reactors.GetLength(); ++i) m_reactors[i]->OnStartUnload();
}

bool CTXRuntimeStateReactor::FireModulesLoaded() {
    for (int64_t i = 0; i < m_reactors.GetLength(); ++i)
        if (!m_reactors[i]->OnModulesLoaded()) return false;
    return true;
}
