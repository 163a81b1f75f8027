// Writes the seed corpus of the brush-set fuzzer: small sets of every form
// the reader takes, built from the format's layout (tests/fuzz/AbrBytes.h).
//   kw_make_abr_corpus <output folder>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/fuzz/AbrBytes.h"

namespace {

namespace fs = std::filesystem;
using abrbytes::Bytes;
using abrbytes::Sample;

bool writeSeed(const fs::path& folder, const std::string& name, const Bytes& bytes) {
    std::ofstream out(folder / name, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <output folder>\n", argv[0]);
        return 2;
    }
    const fs::path folder = argv[1];
    fs::create_directories(folder);
    Sample computed;
    computed.computed = true;
    Sample named = abrbytes::sampled(6, 5, 3, true);
    named.name = u"Seed brush";
    Sample deep = abrbytes::sampled(4, 4, 5, false);
    deep.depth = 16;
    deep.image.resize(deep.image.size() * 2, 0x3C);
    bool ok = true;
    ok &= writeSeed(folder, "v1_raw_packed_computed.abr",
                    abrbytes::oldForm(1, {abrbytes::sampled(7, 3, 1, false), computed, abrbytes::sampled(9, 4, 2, true)}));
    ok &= writeSeed(folder, "v2_named.abr", abrbytes::oldForm(2, {named, abrbytes::sampled(3, 3, 4, false)}));
    ok &= writeSeed(folder, "v2_depth16.abr", abrbytes::oldForm(2, {deep}));
    ok &= writeSeed(folder, "v6_1.abr",
                    abrbytes::newForm(1, {abrbytes::sampled(8, 6, 6, true), abrbytes::sampled(5, 2, 7, false)}));
    ok &= writeSeed(folder, "v6_2.abr",
                    abrbytes::newForm(2, {abrbytes::sampled(5, 7, 8, false), abrbytes::sampled(12, 3, 9, true)}));
    if (!ok) {
        std::fprintf(stderr, "could not write the seeds into %s\n", folder.c_str());
        return 1;
    }
    return 0;
}
