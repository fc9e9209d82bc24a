// A small getopt_long: options may come before, after or between operands,
// take their value as "--name value", "--name=value" or "-o value", and "--"
// ends them. Anything unknown is a UsageError.
#pragma once
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

namespace tarvex::cli {

struct OptionRule {
    const char* name; // long name without the dashes
    char shortName;   // 0 for none
    bool takesValue;
};

class Arguments {
public:
    Arguments(int argc, char** argv, std::initializer_list<OptionRule> options);

    bool Has(const std::string& name) const { return values.count(name) != 0; }
    // The value of an option, or `fallback` when it was not given.
    std::string Value(const std::string& name, const std::string& fallback = {}) const;
    const std::vector<std::string>& Operands() const { return operands; }
    // Throws a UsageError unless there are between `least` and `most`
    // operands.
    void ExpectOperands(size_t least, size_t most) const;
    // Throws a UsageError unless the option's value is one of `allowed`.
    std::string Choice(const std::string& name, std::initializer_list<const char*> allowed,
                       const std::string& fallback) const;

private:
    std::map<std::string, std::string> values;
    std::vector<std::string> operands;
};

} // namespace tarvex::cli
