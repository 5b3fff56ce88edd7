#include "panel/page_files.h"

#include "core/log.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>
#include <zlib.h>

namespace panel {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t largest_page_file = 4'000'000;
constexpr std::size_t most_page_files = 100;

struct ContentType {
    std::string_view ending;
    const char* type;
};

constexpr std::array<ContentType, 9> content_types{{
    {".html", "text/html; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".svg", "image/svg+xml"},
    {".png", "image/png"},
    {".ico", "image/x-icon"},
    {".json", "application/json"},
    {".webmanifest", "application/manifest+json"},
    {".txt", "text/plain; charset=utf-8"},
}};

const char* content_type_of(const std::string& ending) {
    const auto* const row = std::ranges::find_if(
        content_types, [&](const ContentType& each) { return each.ending == ending; });
    return row == content_types.end() ? "application/octet-stream" : row->type;
}

// Null when it does not get smaller.
SharedText pack(const std::string& content) {
    constexpr int window_and_gzip = 15 + 16;
    z_stream stream{};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, window_and_gzip, 9,
                     Z_DEFAULT_STRATEGY) != Z_OK)
        return nullptr;
    std::string packed(content.size(), '\0');
    std::string input = content; // the library's type is not const
    stream.next_in = reinterpret_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    const bool smaller = deflate(&stream, Z_FINISH) == Z_STREAM_END;
    packed.resize(smaller ? stream.total_out : 0);
    deflateEnd(&stream);
    return smaller ? std::make_shared<const std::string>(std::move(packed)) : nullptr;
}

std::string tag_of(const std::string& content) {
    std::uint64_t hash = 0xCBF29CE484222325; // FNV-1a
    for (const char letter : content)
        hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001B3;
    std::array<char, 20> text{};
    std::snprintf(text.data(), text.size(), "%016llx", static_cast<unsigned long long>(hash));
    return text.data();
}

void load_page_file(PageFiles& files, const fs::path& directory, const fs::directory_entry& entry) {
    std::error_code fault;
    const bool fits = entry.is_regular_file(fault) && entry.file_size(fault) <= largest_page_file;
    std::ifstream input(entry.path(), std::ios::binary);
    if (!fits || !input) {
        if (!entry.is_directory(fault))
            fieldrelaybox::log_warning("page: %s is left out", entry.path().c_str());
        return;
    }
    const auto content = std::make_shared<const std::string>(std::istreambuf_iterator<char>(input),
                                                             std::istreambuf_iterator<char>());
    PageFile file{.content_type = content_type_of(entry.path().extension().string()),
                  .content = content,
                  .packed = pack(*content),
                  .tag = tag_of(*content)};
    const std::string name = entry.path().lexically_relative(directory).generic_string();
    files.by_path[name == "index.html" ? "/" : "/" + name] = std::move(file);
}

} // namespace

PageFiles load_page_files(const std::string& directory) {
    PageFiles files;
    std::error_code fault;
    for (fs::recursive_directory_iterator entry(directory, fault), end;
         !fault && entry != end && files.by_path.size() < most_page_files; entry.increment(fault))
        load_page_file(files, directory, *entry);
    if (!files.by_path.contains("/"))
        fieldrelaybox::log_error("no page: %s has no index.html", directory.c_str());
    return files;
}

} // namespace panel
