// The page that shows tiles: tiles_viewer.html, made part of the program by the build.
#pragma once

namespace vorel_tool {

extern const char kTilesViewer[];

}  // namespace vorel_tool
