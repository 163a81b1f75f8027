#pragma once

namespace bench {

// The bucket fill's search alone (plain and lineart) on a side x side picture
// of anti-aliased rings on white, from a seed outside them, so the region is
// most of the canvas: milliseconds, and the working memory it held. Then the
// same on scattered ink, the worst case of a search by runs.
void runFloodFill(int side, int repeats);

} // namespace bench
