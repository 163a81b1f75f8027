#pragma once
// The program's assembled interface for tests that drive it through its
// widgets: a 1000 x 700 root in front of the painter, the commands made, the
// brush current, modal waits that return at once. The destructor gives back
// the root and render area and drops dialogs, the HUD, fades and the
// interface's groups.
#include <memory>

#include "core/RenderArea.h"

class GUI;

class ProgramInterface {
public:
    ProgramInterface();
    ~ProgramInterface();
    ProgramInterface(const ProgramInterface&) = delete;
    ProgramInterface& operator=(const ProgramInterface&) = delete;

    // buildInterface, then the two updates that take the children in and place them.
    void build();

private:
    RenderArea savedArea;
    std::shared_ptr<GUI> savedRoot;
};
