#pragma once
// Opening a picture file: our decode and the whole open into a canvas,
// against a plain libpng decode of the same file in the same run.

namespace bench {

void runImageOpen(int width, int height);

} // namespace bench
