// A child for the process tests: writes its arguments (after the program name), one per line
// and each between brackets, to the file named by its first argument, then exits with the code
// given as its second argument.
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv)
{
    if (argc < 3)
        return 99;
    std::FILE* out = std::fopen(argv[1], "wb");
    if (!out)
        return 98;
    for (int i = 3; i < argc; ++i)
        std::fprintf(out, "[%s]\n", argv[i]);
    std::fclose(out);
    return std::atoi(argv[2]);
}
