// Compresses a file with bzip2: compress_file INPUT OUTPUT.
#include <bzlib.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

int main(int argc, char **argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: compress_file INPUT OUTPUT\n");
        return 2;
    }
    std::ifstream input(argv[1], std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(input), {}};
    std::string packed(text.size() + text.size() / 100 + 600, '\0');
    unsigned int length = static_cast<unsigned int>(packed.size());
    int status =
        BZ2_bzBuffToBuffCompress(packed.data(), &length, text.data(), static_cast<unsigned int>(text.size()), 9, 0, 0);
    std::ofstream output(argv[2], std::ios::binary);
    output.write(packed.data(), length);
    return status == BZ_OK && output.flush() ? 0 : 1;
}
