#include "stream/complaints.h"

#include <algorithm>
#include <cstddef>

namespace stream {

namespace {

constexpr std::string_view error_word = "ERROR: ";
constexpr std::string_view pipeline_words = "WARNING: erroneous pipeline: ";
constexpr std::string_view element_words = "from element ";
constexpr std::string_view detail_heading = "Additional debug info:";

// "/GstPipeline:pipeline0/GstUDPSrc:udpsrc0: TEXT" without the element.
std::string_view without_element(std::string_view text) {
    if (!text.starts_with(element_words))
        return text;
    const std::size_t colon = text.find(": ");
    return colon == std::string_view::npos ? text : text.substr(colon + 2);
}

void take_failure(Complaint& complaint, std::string_view text) {
    if (!complaint.failed)
        complaint.text = text;
    complaint.failed = true;
    complaint.lines_to_detail = 0;
}

// Once the heading was there, a line names the place in the source; the next one says the most.
void take_detail(Complaint& complaint, std::string_view line) {
    if (--complaint.lines_to_detail > 0 || line.starts_with("domain "))
        return;
    complaint.detail = line;
}

constexpr std::string_view mask = "***";

// Shorter ones would hide half of every line.
constexpr std::size_t shortest_secret = 3;

void add_secret(Words& secrets, std::string_view text) {
    if (text.size() >= shortest_secret)
        secrets.emplace_back(text);
}

// Each part of a path or a query, since servers repeat single ones.
void add_parts(Words& secrets, std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = std::min(text.find_first_of("/?&=:@"), text.size());
        add_secret(secrets, text.substr(0, length));
        text.remove_prefix(std::min(length + 1, text.size()));
    }
}

// As property() quotes a value.
std::string unquoted(std::string_view text) {
    std::string plain;
    for (std::size_t place = 0; place < text.size(); ++place) {
        if (text[place] == '\\' && place + 1 < text.size())
            ++place;
        plain += text[place];
    }
    if (plain.ends_with('"'))
        plain.pop_back();
    return plain;
}

void add_secrets(Words& secrets, std::string_view argument) {
    const std::size_t colon = argument.find(":/");
    if (colon == std::string_view::npos)
        return;
    const std::size_t host_begin = argument.find_first_not_of('/', colon + 1);
    const std::string address = unquoted(argument.substr(std::min(host_begin, argument.size())));
    const std::string_view scheme = argument.substr(0, colon);
    const bool has_key = scheme.ends_with("rtmp") || scheme.ends_with("rtmps");
    std::string_view path =
        std::string_view(address).substr(std::min(address.find('/'), address.size()));
    const std::string_view host = std::string_view(address).substr(0, address.size() - path.size());
    if (const std::size_t at = host.rfind('@'); at != std::string_view::npos)
        add_parts(secrets, host.substr(0, at));
    if (!has_key)
        path.remove_prefix(std::min(path.find('?'), path.size()));
    add_parts(secrets, path);
}

// User and password of each address, which may be too short to be looked for anywhere else.
void mask_users(std::string& text) {
    for (std::size_t place = 0; (place = text.find(":/", place)) != std::string::npos; ++place) {
        const std::size_t begin = std::min(text.find_first_not_of('/', place + 1), text.size());
        const std::string_view host =
            std::string_view(text).substr(begin, text.find_first_of("/?# \t\"'", begin) - begin);
        if (const std::size_t at = host.rfind('@'); at != std::string_view::npos)
            text.replace(begin, at, mask);
    }
}

} // namespace

void hear(Complaint& complaint, std::string_view line) {
    if (line.starts_with(pipeline_words))
        take_failure(complaint, line.substr(std::string_view("WARNING: ").size()));
    else if (line.starts_with(error_word))
        take_failure(complaint, without_element(line.substr(error_word.size())));
    else if (line == detail_heading && complaint.failed && complaint.detail.empty())
        complaint.lines_to_detail = 2;
    else if (complaint.lines_to_detail > 0)
        take_detail(complaint, line);
    if (!line.empty())
        complaint.last_line = line;
}

std::string cause_of(const Complaint& complaint) {
    if (!complaint.failed)
        return complaint.last_line;
    if (complaint.detail.empty() || complaint.text.find(complaint.detail) != std::string::npos)
        return complaint.text;
    // GStreamer's own words for what it opens do not say what that is.
    const bool general = complaint.text.find(" resource") != std::string::npos;
    return general ? complaint.detail + " (" + complaint.text + ")"
                   : complaint.text + " (" + complaint.detail + ")";
}

Words secrets_of(const Words& arguments) {
    Words secrets;
    for (const std::string& argument : arguments)
        add_secrets(secrets, argument);
    // A longer one may hold a shorter one.
    std::ranges::sort(secrets, std::ranges::greater{}, &std::string::size);
    return secrets;
}

std::string masked(std::string text, const Words& secrets) {
    mask_users(text);
    for (const std::string& secret : secrets) {
        for (std::size_t place = 0; (place = text.find(secret, place)) != std::string::npos;
             place += mask.size())
            text.replace(place, secret.size(), mask);
    }
    return text;
}

} // namespace stream
