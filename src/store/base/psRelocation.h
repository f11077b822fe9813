#pragma once

// Whether an object may be copied and moved. A class that owns other objects refuses both: a copy would share what the
// original owns.
enum class psRelocation { allowed, refused };
