// A program that knows the library only through its installed package.
#include <qvBase.h>

#include <cstdio>
#include <cstring>

int main()
{
    qvUtil::Error err(7, "%s %d", "installed", 42);
    if (!err || err.num() != 7 || std::strcmp(err.message(), "installed 42") != 0) {
        std::fprintf(stderr, "unexpected error value: %d '%s'\n", err.num(), err.message());
        return 1;
    }
    std::printf("consumer ok: %s\n", err.message());
    return 0;
}
