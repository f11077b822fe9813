#pragma once

// What the system's loader says of a file that it has not loaded. It gives no numbers: the texts tell.
namespace ps::detail::loaderTexts {

// What this process lacks.
constexpr const char* noMemory[] = {"allocate memory", "out of memory", "cannot create"};

}  // namespace ps::detail::loaderTexts
