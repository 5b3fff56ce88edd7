// What the fuzzer has in place of the outside world: no command is run, and time goes on only in
// sleeps.
#pragma once

#include <string>

// What every tool prints that is asked for something.
extern std::string tool_output;
