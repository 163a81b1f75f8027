#pragma once
// Where pointer input goes. Values 1 and 6 are not used.
enum InteractionMode : int {
    kModePanning = 0,
    kModeRotation = 2,
    kModeInterface = 3, // pointer over the interface
    kModeTool = 4,
    kModePicking = 5,
    kModeSizeZoom = 7,
    kModeSetAside = 8, // two-finger gesture: pointer input set aside
};
