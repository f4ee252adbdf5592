// Marks what the shared library exports; everything else is hidden in it.
#pragma once

#define STRUCTURE_INGEST_API __attribute__((visibility("default")))
