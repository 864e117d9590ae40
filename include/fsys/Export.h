#pragma once

// What the shared library shows. Everything else in it is hidden.
#define FSYS_EXPORT __attribute__((visibility("default")))
