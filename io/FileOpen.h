#pragma once
// loadFile: the entry of the command line, a dropped file and the recovery
// prompt. The exact lower-case extension chooses the reader: ".dpf" and
// ".dat" a drawing process, ".kwf" and ".ora" a layered picture, anything
// else an image.
// Each reader leaves the open picture as it was when it fails.
#include <string>

#include "io/DrawingProcess.h"
#include "io/ImageLoad.h"
#include "io/LayeredFile.h"

enum class FileKind { Process, Layered, OpenRaster, Image };

// By the exact lower-case extension, as the program's flows dispatch.
FileKind fileKindFromPath(const std::string& path);

struct LoadFileOptions {
    DrawingProcess::LoadOptions process; // tips, shared context, wait
    ImageLoadHooks imageHooks;           // the document side of an image load
};

// Loads the file and shows the flow's message. On success the working
// directory becomes the file's folder and modificationCount is 0; the caller
// fits the view.
bool loadFile(const std::string& path, DocumentTarget& doc, const LoadFileOptions& options);
