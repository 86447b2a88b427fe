#pragma once

namespace atlas {

// From now on this process leaves no image of its memory when it crashes: the token of the cloud is in it. (On
// Windows the system keeps such images for nobody but the user.)
void makeNoCoreFiles();

} // namespace atlas
