/// A driver as a process of its own, which the tests kill: server ADDRESS VALUE. Each of its 50 counts is
/// VALUE.

#include "link/Listener.h"
#include "model/LoamTunnelModel.h"

#include <cstdio>
#include <cstdlib>
#include <string>

using namespace Hardware;
using namespace Hardware::LoamTunnel;

int main(int count, char** arguments) {
    if (count != 3) {
        std::fputs("usage: server ADDRESS VALUE\n", stderr);
        return 2;
    }
    try {
        auto const dir = lifAppConfigDirFactory("lif");
        auto const value = static_cast<Kor::U32>(std::strtoul(arguments[2], nullptr, 10));
        for (Kor::U32 i = 0; i < 50; ++i) {
            dir->appConfigIs(Loam::vtAppMpls)->reqCountIs(AradLifEntry(lifGeneral, i, 0), value);
        }
        Kor::Link::Loop loop;
        Kor::Link::ListenerConfig config;
        config.service = Kor::makePtr<Kor::NboAttrLog::Service>();
        config.service->offer("lif", dir);
        config.session.name = Kor::Name(std::string("server ") + arguments[2]);
        Kor::Link::Listener const listener(loop, Kor::Link::Address::parse(arguments[1]), config);
        loop.run();
    } catch (std::exception const& exception) {
        std::fprintf(stderr, "%s\n", exception.what());
        return 1;
    }
}
