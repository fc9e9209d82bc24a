// Puts the process in a locale whose decimal separator is a comma for the
// life of the object, as a host application may do.
#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <string>

class CommaLocale {
public:
    CommaLocale() : m_saved(std::setlocale(LC_ALL, nullptr)) {
        m_active = std::setlocale(LC_ALL, "ru_RU.UTF-8") != nullptr;
        EXPECT_TRUE(m_active)
            << "the ru_RU.UTF-8 locale is missing (scripts/install-deps.sh makes it)";
    }
    ~CommaLocale() { std::setlocale(LC_ALL, m_saved.c_str()); }

private:
    std::string m_saved;
    bool m_active;
};
