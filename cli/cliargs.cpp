#include "cliargs.h"

#include <cstring>

#include "clierror.h"

namespace tarvex::cli {

Arguments::Arguments(int argc, char** argv, std::initializer_list<OptionRule> options) {
    auto findLong = [&](const std::string& name) -> const OptionRule* {
        for (const OptionRule& rule : options)
            if (name == rule.name) return &rule;
        return nullptr;
    };
    auto findShort = [&](char letter) -> const OptionRule* {
        for (const OptionRule& rule : options)
            if (rule.shortName && rule.shortName == letter) return &rule;
        return nullptr;
    };

    bool optionsEnded = false;
    for (int i = 0; i < argc; ++i) {
        std::string word = argv[i];
        // A lone "-" is an operand (standard input or output by convention).
        if (optionsEnded || word.size() < 2 || word[0] != '-') {
            operands.push_back(word);
            continue;
        }
        if (word == "--") {
            optionsEnded = true;
            continue;
        }
        const OptionRule* rule = nullptr;
        std::string inlineValue;
        bool hasInlineValue = false;
        if (word[1] == '-') {
            std::string name = word.substr(2);
            if (size_t equals = name.find('='); equals != std::string::npos) {
                inlineValue = name.substr(equals + 1);
                hasInlineValue = true;
                name.resize(equals);
            }
            rule = findLong(name);
        } else if (word.size() == 2) {
            rule = findShort(word[1]);
        } else {
            // "-ofile": a short option glued to its value.
            rule = findShort(word[1]);
            if (rule && rule->takesValue) {
                inlineValue = word.substr(2);
                hasInlineValue = true;
            } else {
                rule = nullptr;
            }
        }
        if (!rule) throw UsageError{"unknown option '" + word + "'"};
        std::string value;
        if (rule->takesValue) {
            if (hasInlineValue) {
                value = inlineValue;
            } else if (i + 1 < argc) {
                value = argv[++i];
            } else {
                throw UsageError{"option '" + word + "' needs a value"};
            }
        } else if (hasInlineValue) {
            throw UsageError{"option '--" + std::string(rule->name) + "' takes no value"};
        }
        values[rule->name] = value;
    }
}

std::string Arguments::Value(const std::string& name, const std::string& fallback) const {
    auto hit = values.find(name);
    return hit == values.end() ? fallback : hit->second;
}

void Arguments::ExpectOperands(size_t least, size_t most) const {
    if (operands.size() < least) throw UsageError{"missing operand"};
    if (operands.size() > most) throw UsageError{"unexpected operand '" + operands[most] + "'"};
}

std::string Arguments::Choice(const std::string& name, std::initializer_list<const char*> allowed,
                              const std::string& fallback) const {
    if (!Has(name)) return fallback;
    std::string value = Value(name);
    std::string list;
    for (const char* choice : allowed) {
        if (value == choice) return value;
        if (!list.empty()) list += ", ";
        list += choice;
    }
    throw UsageError{"invalid value '" + value + "' for --" + name + " (one of: " + list + ")"};
}

} // namespace tarvex::cli
