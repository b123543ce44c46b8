// The option keys each target reads, and the values each key takes, so that a misspelt key or
// value is told and not silently ignored. Kept in step with the generators by a test.
#pragma once

#include <string>
#include <vector>

namespace vornc {

struct Option_key {
    const char* key;
    // The values the key takes; empty for any text.
    std::vector<const char*> values;
};

// The keys of a target, those of every target first; null for a target without a table.
const std::vector<Option_key>* option_table(const std::string& target);

// Empty when target reads key with that value; else why not.
std::string check_option(const std::string& target, const std::string& key, const std::string& value);

}  // namespace vornc
