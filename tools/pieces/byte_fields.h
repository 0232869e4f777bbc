// Fields of the program's own binary files, one after the other in the machine's own layout.
// Reading never goes behind the end.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace mh {

// What is left to read; false once the bytes have run out.
struct Bytes {
    std::string_view rest;
    bool good = true;
};

template<typename T>
std::string_view bytes_of(const std::vector<T>& values) {
    return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T)};
}

template<typename T>
void put(std::string& bytes, const T& value) {
    static_assert(std::has_unique_object_representations_v<T> || std::is_floating_point_v<T>);
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

template<typename T>
void take(Bytes& bytes, T& value) {
    bytes.good = bytes.good && bytes.rest.size() >= sizeof value;
    if (!bytes.good) return;
    std::memcpy(&value, bytes.rest.data(), sizeof value);
    bytes.rest.remove_prefix(sizeof value);
}

inline void put_text(std::string& bytes, std::string_view text) {
    put(bytes, static_cast<std::uint64_t>(text.size()));
    bytes += text;
}

inline void take_text(Bytes& bytes, std::string& text) {
    std::uint64_t size = 0;
    take(bytes, size);
    bytes.good = bytes.good && size <= bytes.rest.size();
    if (!bytes.good) return;
    text = bytes.rest.substr(0, size);
    bytes.rest.remove_prefix(size);
}

// An array and its length.
template<typename T>
void put_array(std::string& bytes, const std::vector<T>& values) {
    put_text(bytes, bytes_of(values));
}

template<typename T>
void take_array(Bytes& bytes, std::vector<T>& values) {
    std::uint64_t size = 0;
    take(bytes, size);
    bytes.good = bytes.good && size <= bytes.rest.size() && size % sizeof(T) == 0;
    if (!bytes.good) return;
    values.resize(size / sizeof(T));
    if (size > 0) std::memcpy(values.data(), bytes.rest.data(), size);
    bytes.rest.remove_prefix(size);
}

} // namespace mh
