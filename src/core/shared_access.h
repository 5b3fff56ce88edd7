// Access to single bytes and words of the process-wide records.
// Every thread reads and writes the records; these helpers make each access defined behaviour.
// Texts and groups of fields that must change together have a lock where they live.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace fieldrelaybox {

template<class Field> Field load(const Field& field) {
    return std::atomic_ref<Field>(const_cast<Field&>(field)).load(std::memory_order_relaxed);
}

template<class Field> void store(Field& field, Field value) {
    std::atomic_ref<Field>(field).store(value, std::memory_order_relaxed);
}

} // namespace fieldrelaybox
