#include "stream/source_config.h"

#include "core/word_table.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <ini.h>
#include <string_view>

namespace stream {

namespace {

struct SourceKey {
    std::string_view word;
    std::string SourceConfig::*value;
};

constexpr std::array source_keys{
    SourceKey{"url", &SourceConfig::url},
    SourceKey{"sound", &SourceConfig::sound},
};

int take_source_key(void* user, const char* /*section*/, const char* name, const char* value) {
    const SourceKey* const key = fieldrelaybox::find_word(source_keys, name);
    if (key != nullptr)
        static_cast<SourceConfig*>(user)->*key->value = value;
    return key != nullptr ? 1 : 0;
}

} // namespace

SourceConfig read_source_config(const std::string& path) {
    SourceConfig config;
    const int result = ini_parse(path.c_str(), take_source_key, &config);
    if (result > 0)
        config.fault = path + " line " + std::to_string(result) + " is no url= and no sound=";
    else if (result < 0 && errno != ENOENT)
        config.fault = path + ": " + std::strerror(errno);
    return config;
}

} // namespace stream
