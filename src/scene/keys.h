// Tables of the keys of every block: name, kind and number of values, and where they go. The reader
// works from them alone, and so may anything else that has to know the format.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/at.h"
#include "math/matrix.h"
#include "math/vec3.h"

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <string>
#include <type_traits>

namespace mh {

enum class ValueKind : std::uint8_t {
    whole,      // 32 bits with sign
    wide_whole, // 64 bits with sign
    natural,    // 32 bits without sign; a negative number wraps
    real,
    text, // in double quotes
    word,
    block, // no value: a sub-block follows
};

// The values of a key line, as far as it has them.
struct Values {
    int count = 0;
    std::array<std::int64_t, 4> wholes = {};
    std::array<float, 16> reals = {};
    std::string text;
};

struct Block;

// What a text means beyond its block; the reader takes no notice of it.
enum class Role : std::uint8_t {
    plain,
    defines_shader,
    defines_object,
    shader_name,
    object_name,
    image_file,
    geometry_file,
    output_file,
    image_folder,
    channel, // of an AOV: one of the choices, or the name of a per-vertex array
};

// The numbers that make sense for a key; the reader takes others as well. The range of a sub-block
// is that of the colour in it.
struct Range {
    double lowest = -std::numeric_limits<double>::infinity();
    double highest = std::numeric_limits<double>::infinity();
    bool without_ends = false;
    bool has_length = false; // of a vector: not all of its numbers are 0
};

constexpr Range between(double lowest, double highest) {
    return {lowest, highest, false, false};
}

constexpr Range inside(double lowest, double highest) {
    return {lowest, highest, true, false};
}

constexpr Range at_least(double lowest) {
    return between(lowest, std::numeric_limits<double>::infinity());
}

constexpr Range above(double lowest) {
    return inside(lowest, std::numeric_limits<double>::infinity());
}

constexpr Range kDirection = {.has_length = true};

struct Key {
    const char* name;
    ValueKind kind;
    int count; // values of a complete line
    // Puts the values into the record; called with at least one.
    void (*store)(void* record, const Values& values) = nullptr;
    const Block* block = nullptr;
    // The record that the sub-block fills; null when the line is to have no effect.
    void* (*open)(void* record) = nullptr;
    Role role = Role::plain;
    std::span<const char* const> choices = {}; // the texts that have an effect; empty: any
    // Where a wrong value must not pass in silence: what the key takes, and whether values are
    // that.
    const char* wanted = nullptr;
    bool (*accepts)(const Values& values) = nullptr;
    Range range = {};
    bool stored_only = false; // nothing reads what it sets
    int fewest = count;       // values that a line may end with
};

constexpr Key strict(Key key, const char* wanted, bool (*accepts)(const Values& values)) {
    key.wanted = wanted;
    key.accepts = accepts;
    return key;
}

constexpr Key with(Key key, Role role) {
    key.role = role;
    return key;
}

constexpr Key one_of(Key key, std::span<const char* const> choices) {
    key.choices = choices;
    return key;
}

constexpr Key within(Key key, Range range) {
    key.range = range;
    return key;
}

constexpr Key from(int fewest, Key key) {
    key.fewest = fewest;
    return key;
}

constexpr Key stored(Key key) {
    key.stored_only = true;
    return key;
}

struct Block {
    const char* name;
    std::span<const Key> keys;
};

// How values go into a field that starts with value number `first`; it takes kWidth of them.
template<typename Field>
struct FieldOf;

template<typename Whole>
requires std::is_integral_v<Whole>

struct FieldOf<Whole> {
    static constexpr int kWidth = 1;
    static constexpr ValueKind kKind =
        sizeof(Whole) == 8 ? ValueKind::wide_whole : ValueKind::whole;

    static void put(Whole& field, const Values& values, int first) {
        if (first < values.count) field = static_cast<Whole>(at(values.wholes, first));
    }
};

template<>
struct FieldOf<float> {
    static constexpr int kWidth = 1;
    static constexpr ValueKind kKind = ValueKind::real;

    static void put(float& field, const Values& values, int first) {
        if (first < values.count) field = at(values.reals, first);
    }
};

template<>
struct FieldOf<Vec3> {
    static constexpr int kWidth = 3;
    static constexpr ValueKind kKind = ValueKind::real;

    static void put(Vec3& field, const Values& values, int first) {
        FieldOf<float>::put(field.x, values, first);
        FieldOf<float>::put(field.y, values, first + 1);
        FieldOf<float>::put(field.z, values, first + 2);
    }
};

template<typename Matrix>

requires(std::is_same_v<Matrix, Mat3> || std::is_same_v<Matrix, Mat4>) struct FieldOf<Matrix> {
    static constexpr int kWidth = std::is_same_v<Matrix, Mat3> ? 9 : 16;
    static constexpr ValueKind kKind = ValueKind::real;

    static void put(Matrix& field, const Values& values, int first) {
        for (auto& row : field.m)
            for (float& entry : row)
                FieldOf<float>::put(entry, values, first++);
    }
};

template<>
struct FieldOf<std::string> {
    static constexpr int kWidth = 1;
    static constexpr ValueKind kKind = ValueKind::text;

    static void put(std::string& field, const Values& values, int) { field = values.text; }
};

// Makes the keys of a block over one kind of record. A target is a pointer to a member, or a
// function that takes the record and returns a reference into it.
template<typename Record>
struct KeysOf {
    template<auto target>
    using Field = std::remove_cvref_t<std::invoke_result_t<decltype(target), Record&>>;

    // Values go to the targets in the order written.
    template<auto first, auto... more>
    static constexpr Key value(const char* name) {
        return {name, FieldOf<Field<first>>::kKind,
                (FieldOf<Field<first>>::kWidth + ... + FieldOf<Field<more>>::kWidth),
                put_all<first, more...>};
    }

    template<auto target>
    static constexpr Key natural(const char* name) {
        return {name, ValueKind::natural, 1, put_all<target>};
    }

    template<auto target>
    static constexpr Key word(const char* name) {
        return {name, ValueKind::word, 1, put_all<target>};
    }

    // A whole number or text that a function interprets.
    template<void (*function)(Record&, std::int64_t)>
    static constexpr Key whole(const char* name) {
        return {name, ValueKind::whole, 1, [](void* record, const Values& values) {
                    function(*static_cast<Record*>(record), values.wholes[0]);
                }};
    }

    template<void (*function)(Record&, const std::string&)>
    static constexpr Key text(const char* name) {
        return {name, ValueKind::text, 1, [](void* record, const Values& values) {
                    function(*static_cast<Record*>(record), values.text);
                }};
    }

    // True for 1, false for every other number.
    template<auto target>
    static constexpr Key flag(const char* name) {
        return within({name, ValueKind::whole, 1,
                       [](void* record, const Values& values) {
                           std::invoke(target, *static_cast<Record*>(record)) =
                               values.wholes[0] == 1;
                       }},
                      between(0, 1));
    }

    // A sub-block onto a record that is part of this one, or onto what a function returns.
    template<auto target>
    static constexpr Key sub_block(const char* name, const Block& block) {
        return {name, ValueKind::block, 0, nullptr, &block, [](void* record) -> void* {
                    return address(std::invoke(target, *static_cast<Record*>(record)));
                }};
    }

private:
    template<auto... targets>
    static void put_all(void* record, const Values& values) {
        Record& owner = *static_cast<Record*>(record);
        int first = 0;
        ((FieldOf<Field<targets>>::put(std::invoke(targets, owner), values, first),
          first += FieldOf<Field<targets>>::kWidth),
         ...);
    }

    template<typename T>
    static void* address(T& record) {
        return &record;
    }

    template<typename T>
    static void* address(T* record) {
        return record;
    }
};

} // namespace mh
