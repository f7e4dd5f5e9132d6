#ifndef QVTEST_TOOLRUN_H
#define QVTEST_TOOLRUN_H

// Runs the packet tool in this process, as `qvpacket args...`, and keeps what it printed.

#include "qvpacketCommands.h"

#include <cstdio>
#include <string>
#include <vector>

namespace qvTest {

struct ToolRun {
    int status = -1;
    std::string out;
    std::string err;
};

inline std::string contentsOf(std::FILE* file)
{
    std::string text;
    std::rewind(file);
    char block[4096];
    size_t n;
    while ((n = std::fread(block, 1, sizeof block, file)) > 0)
        text.append(block, n);
    std::fclose(file);
    return text;
}

inline ToolRun runTool(std::vector<const char*> args)
{
    args.insert(args.begin(), "qvpacket");
    std::FILE* out = std::tmpfile();
    std::FILE* err = std::tmpfile();
    ToolRun run;
    run.status = qvPacket::run(static_cast<int>(args.size()), args.data(), out, err);
    run.out = contentsOf(out);
    run.err = contentsOf(err);
    return run;
}

} // namespace qvTest

#endif
