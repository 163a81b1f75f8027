#pragma once
// The layers panel's frame with many large layers, against physical
// baselines measured in the same run.
namespace bench {

// `count` layers of side x side pixels; `frames` unchanged frames are timed.
void runLayersPanel(int side, int count, int frames);

} // namespace bench
