#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

#include "zumra/core/IniFile.h"
#include "zumra/osa/Exception.h"

/// What fuzz targets share: a target takes an input and requires what must hold for every input.
namespace zumra::fuzz {

inline std::string_view Input(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Ends the program, and so reports the input, when `holds` is false. Works in release builds too.
inline void Require(bool holds, const char* what) {
    if (!holds) {
        std::cerr << "does not hold: " << what << '\n';
        std::abort();
    }
}

/// What reading a text gave: a document, or an error and no document.
struct Outcome {
    core::IniFile document;
    std::string error;

    friend bool operator==(const Outcome& a, const Outcome& b) {
        return a.document == b.document && a.error == b.error;
    }
};

/// The outcome of `read(document)`; an error must leave the document as it was.
template <class Read>
Outcome OutcomeOf(Read read) {
    Outcome outcome;
    try {
        read(outcome.document);
    } catch (const osa::Exception& error) {
        outcome.error = error.what();
        Require(!outcome.error.empty(), "an error has a text");
        Require(outcome.document.empty(), "a document is untouched after an error");
    }
    return outcome;
}

}  // namespace zumra::fuzz
