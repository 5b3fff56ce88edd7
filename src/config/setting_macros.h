// Shorthands for the rows of settings; settings_table.h ends them.
#pragma once

#include "config/setting.h"

#define SETTING(about, name, type)                                                                 \
    .topic = Topic::about, .key = #name, .kind = SettingKind::type, .field = RECORD_FIELD(name)

#define ENABLED_OR_DISABLED                                                                        \
    "# 1 - enabled\r\n"                                                                            \
    "# 0 - disabled\r\n"
