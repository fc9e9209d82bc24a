#include "tarvex/core/formulamessages.h"

#include <mutex>

#include "tarvex/platform/resources.h"

namespace tarvex {
namespace {

struct Message {
    unsigned id;
    const char16_t* text;
};

constexpr Message kMessages[] = {
    {101, u"Пропущен \"-\""},
    {102, u"Неправильный символ"},
    {103, u"Константа пропущена"},
    {104, u"Слишком длинная константа"},
    {105, u"Пропущена цифра"},
    {106, u"Пропущена \"%s\""},
    {107, u"Слишком длинный идентификатор"},
    {108, u"Пропущен идентификатор"},
    {109, u"Синтаксическая ошибка"},
    {110, u"Непарные скобки"},
    {111, u"Пропущен параметр"},
    {112, u"Пропущена \"(\""},
    {113, u"Неправильное использование идентификатора"},
    {114, u"Переменная не найдена"},
    {115, u"Переполнение стека вычислений"},
    {116, u"Неправильный аргумент"},
    {117, u"Пропущено ключевое слово WHEN"},
    {118, u"Пропущено ключевое слово THEN"},
    {119, u"Пропущено ключевое слово WHEN или ELSE"},
    {120, u"Неизвестная ошибка"},
    {121, u"*разные*"},
    {122, u"Не задан объект приложения."},
    {123, u"Приложение не поддерживает интерфейс автоматизации"},
    {146, u"Ошибка при создании COM-объекта"},
    {147, u"Метод или свойство не поддерживается объектом"},
    {148, u"Ошибка при вызове метода"},
    {149, u"Пропущена \".\""},
    {150, u"Ошибка в последовательности операций"},
    {151, u"Неправильный аргумент"},
    {152, u"Класс объекта не зарегистрирован "},
    {153, u"Неправильный контекст вызова метода"},
    {157, u"Неправильный переход"},
    {158, u"Неправильная размерность массива"},
    {159, u"Ошибка в стеке вычислений"},
    {160, u"Неправильный индекс"},
    {161, u"Контекст не определен"},
};

constexpr size_t kCount = sizeof(kMessages) / sizeof(kMessages[0]);

// Every row twice: the resource loader falls back to English only, and the
// messages are Russian in every language.
ResourceString g_table[kCount * 2];

} // namespace

void RegisterFormulaMessages() {
    static std::once_flag once;
    std::call_once(once, [] {
        for (size_t i = 0; i < kCount; ++i) {
            g_table[2 * i] = {kMessages[i].id, kLangRussian, kMessages[i].text};
            g_table[2 * i + 1] = {kMessages[i].id, kLangEnglish, kMessages[i].text};
        }
        RegisterResourceStrings(g_table, kCount * 2);
    });
}

CString FormulaMessage(unsigned id) {
    RegisterFormulaMessages();
    return LoadResourceString(id);
}

} // namespace tarvex
