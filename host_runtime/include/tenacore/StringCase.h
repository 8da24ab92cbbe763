#pragma once

#include <string>

#include "tenacore/Export.h"

namespace tenacore::string
{

// Folds inText to lower case in place: ASCII, Latin-1, Latin Extended-A, Greek and Cyrillic
// capitals; every other unit stays.
TENACORE_API void ToLowerCase(std::u16string& ioText);

} // namespace tenacore::string
