// Guesses the source type of a description file from its name and content.
#pragma once

#include <cstdint>
#include <string>

namespace travune {

// The data-file name that belongs to a description: its extension replaced by ".bin", or by
// ".hxt" for Celdrin descriptions.
std::string DataFileNameFor(const char* descName, int32_t sourceType);

// The source type id that fits the description best, or -1; why explains the choice.
int32_t GuessSourceType(const char* descName, std::string* why);

}  // namespace travune
