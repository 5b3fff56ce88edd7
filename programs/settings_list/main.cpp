// settings_list: prints all rows of settings as JSON. tools/fieldrelaybox/settings.json is its
// output.
#include "settings_list/settings_json.h"

#include <cstdio>

int main() {
    std::fputs(settings_list::settings_as_json().c_str(), stdout);
    return 0;
}
