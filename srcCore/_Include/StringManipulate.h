// Counted wide strings.
#pragma once

#include "Interface.h"

// A string constant as a counted string; the literal lives as long as the module.
template <int N>
constexpr tagREFString RefString(const wchar_t (&literal)[N]) {
    return {N - 1, literal};
}

// Same length and same characters; no case folding, no normalisation. A string without characters equals nothing.
inline bool SameName(const tagREFString& a, const tagREFString& b) {
    if (a.length <= 0 || a.length != b.length || !a.text || !b.text) return false;
    for (int32_t i = 0; i < a.length; ++i) {
        if (a.text[i] != b.text[i]) return false;
    }
    return true;
}

struct CREFString {
    // A new, empty creatable string with one reference for the caller; null when no string component can be had.
    static ICreatableString* CreateString();
};
