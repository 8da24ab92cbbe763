#pragma once

#include <string>

#include "QTExtRefData.h"

namespace QT
{

// Where the alias's levels put its target relative to the movie: up levelFrom - 1 folders from
// the movie's folder, down the last levelTo - 1 folders of the recorded path, then the file name.
// Empty when either level is below 1.
std::u16string ResolveRelativePath(const std::u16string& inMoviePath, const ExtRefData& inReference);

} // namespace QT
