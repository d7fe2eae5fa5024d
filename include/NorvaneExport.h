// The one export macro of libnorvane. The library is built with hidden default
// visibility; only what carries NORVANE_API is part of its interface. Clients see
// the same attribute so that type information of exported classes (exceptions
// above all) is shared across the library boundary.
#pragma once

#define NORVANE_API __attribute__((visibility("default")))
