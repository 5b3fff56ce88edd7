// The files of the built page, in memory, packed where browsers gain by it.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace panel {

using SharedText = std::shared_ptr<const std::string>;

struct PageFile {
    std::string content_type;
    SharedText content;
    SharedText packed; // gzip; null when it would not be smaller
    std::string tag;   // changes with the content
};

struct PageFiles {
    std::map<std::string, PageFile, std::less<>> by_path; // "/panel.js"; "/" is index.html
};

// What is missing or too large is told in the log, and the panel goes on without it.
PageFiles load_page_files(const std::string& directory);

} // namespace panel
