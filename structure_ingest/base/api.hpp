// Marks the symbols that the shared library exports (all others are hidden), and functions of which
// compilers think wrongly.
#pragma once

#define STRUCTURE_INGEST_API __attribute__((visibility("default")))

/// A function whose result does not refer to its temporary arguments, of which g++ would warn.
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 14
#define STRUCTURE_INGEST_NO_DANGLING [[gnu::no_dangling]]
#else
#define STRUCTURE_INGEST_NO_DANGLING
#endif
