#pragma once
// A slider whose track shows every hue; its value (0..1) is a hue / 360.
#include "widgets/Slider.h"

class HueSelector : public Slider<float> {
public:
    HueSelector(int x, int y, int width, int height, int32_t id = 0, std::function<void(float)> onChange = {});
    void drawTrack(float alpha) override;
};
