#pragma once
// Every change to the picture is one HistoryAction. The action holds all its
// parameters and the algorithm; undo restores a snapshot and executes the
// later actions again, and a drawing process replays the same list.
// Virtual operations are declared in the order of the stored contract.
namespace io {
class BinaryReader;
class BinaryWriter;
}

class HistoryAction {
public:
    virtual ~HistoryAction() = default;
    // Type code of the drawing-process file.
    virtual int type() const = 0;
    // One undo step; true in every action of this program.
    virtual bool countsAsStep() const = 0;
    virtual bool affectsAllLayers() const { return false; }
    // Does the work on the current surfaces (GL thread).
    virtual bool execute() = 0;
    // Called when the action leaves the list; puts back state no snapshot restores.
    virtual void undo() {}
    // The body after the type code; failures are left in the stream.
    virtual void write(io::BinaryWriter& out) const { (void)out; }
    virtual void read(io::BinaryReader& in) { (void)in; }
};
