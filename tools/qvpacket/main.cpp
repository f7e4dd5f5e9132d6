// qvpacket: inspect, check and convert packet files.
#include "qvpacketCommands.h"

#include <cstdio>

int main(int argc, char** argv)
{
    return qvPacket::run(argc, argv, stdout, stderr);
}
