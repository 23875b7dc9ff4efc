// Outputs of functions.
#pragma once

/// Stores an output that the caller may have left out.
template <typename T>
void ka_store(const T& value, T* out) {
    if (out != nullptr)
        *out = value;
}
