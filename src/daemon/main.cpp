#include "daemon/startup.h"

int main() {
    return fieldrelaybox::run_daemon();
}
