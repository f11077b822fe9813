#pragma once

// Whether copies and moves of an object are allowed. A class that owns other objects refuses them: a copy would share
// what the original owns.
enum class psRelocation { allowed, refused };
