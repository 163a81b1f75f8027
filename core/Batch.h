#pragma once
// The batch modes: no window, no display server needed.
//   --info FILE            what a drawing process (or layered file) holds
//   --render [--replay] FILE OUT   the picture, written as "save image" writes it
//   --export-video FILE.dpf OUT [--format F]   the replay as a film
// Exit codes: 0 done, 2 bad input (one line on standard error says which),
// 1 anything else.
#include <cstdio>
#include <string>

#include "core/CommandLine.h"

inline constexpr int kBatchOk = 0;
inline constexpr int kBatchFailed = 1;
inline constexpr int kBatchBadInput = 2;

int runBatch(const CommandLine& commandLine);

// --info on bytes already read; writes the report to `out`. No GL.
int printProcessInfo(const std::string& path, std::FILE* out);
// --render: a headless GL context, the file loaded by its extension
// (optionally replayed), the flat picture saved by OUT's extension.
int renderFile(const std::string& path, const std::string& output, bool replay);
// --export-video: the process replayed into an AVI or MP4 film (by OUT's
// extension), format an index of io::kVideoFormats; progress on standard error.
int exportVideo(const std::string& path, const std::string& output, int format);
