// Guesses the source type of a description file from its name and content.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace travune {

struct FormatRow;

// The source rows that have a recogniser, in the order opening by detection tries them.
std::vector<const FormatRow*> RecognisersInOrder();

// The data-file name that belongs to a description: its extension replaced by ".bin", or by
// ".hxt" for Celdrin descriptions; "" (a name no open accepts) when a part of descName is too
// long for FilePath.
std::string DataFileNameFor(const char* descName, int32_t sourceType);

// The source type id that fits the description best, or -1; why explains the choice.
int32_t GuessSourceType(const char* descName, std::string* why);

}  // namespace travune
