#ifndef QVPACKET_COMMANDS_H
#define QVPACKET_COMMANDS_H

// The commands of the qvpacket tool. Each writes its report to out and its errors to err and
// returns the exit status: 0 success, 1 a damaged or unusable file, 2 a usage error.

#include <cstdio>
#include <string>

namespace qvPacket {

// The whole tool: argv[0] is the program name, argv[1] the command.
int run(int argc, const char* const* argv, std::FILE* out, std::FILE* err);

int info(const std::string& path, std::FILE* out, std::FILE* err);
int dump(const std::string& path, std::FILE* out, std::FILE* err);
// The whole file as one JSON document (the README shows its shape).
int dumpJson(const std::string& path, std::FILE* out, std::FILE* err);
// The object graph of a type-checked file as Graphviz DOT on out, or, with svg not empty, drawn
// into that file by Graphviz's dot.
int graph(const std::string& path, const std::string& svg, std::FILE* out, std::FILE* err);
int verify(const std::string& path, std::FILE* out, std::FILE* err);
// method is one of "ascii", "binary", "ascii-debug", "binary-debug".
int convert(const std::string& in, const std::string& out, const std::string& method,
            std::FILE* report, std::FILE* err);

class PacketFile;
// Opens path, or reports why not on err. The commands share these two.
bool opened(PacketFile& file, const std::string& path, void (*progressFunction)(int), std::FILE* err);
// Reports the file's problem on err; returns the exit status 1.
int reportProblem(const std::string& path, const PacketFile& file, std::FILE* err);

// Whether stream is an interactive terminal (progress bars are drawn only there).
bool isTerminal(std::FILE* stream);

} // namespace qvPacket

#endif
