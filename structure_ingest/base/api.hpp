// Marks the symbols that the shared library exports; all others are hidden.
#pragma once

#define STRUCTURE_INGEST_API __attribute__((visibility("default")))
