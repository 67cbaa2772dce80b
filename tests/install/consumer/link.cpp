#include "link/Connector.h"
#include "link/Listener.h"
#include "model/LoamTunnelModel.h"

using namespace Hardware::LoamTunnel;

/// A driver and an application on one loop, at the address that is given.
int main(int, char** arguments) {
    Kor::Link::Loop loop;
    auto const address = Kor::Link::Address::local(arguments[1]);
    auto const theirs = lifAppConfigDirFactory("lif");
    theirs->appConfigIs(Hardware::Loam::vtAppMpls);
    Kor::Link::ListenerConfig driver;
    driver.service = Kor::makePtr<Kor::NboAttrLog::Service>();
    driver.service->offer("lif", theirs);
    Kor::Link::Listener const listener(loop, address, driver);

    auto const mine = lifAppConfigDirFactory("lif");
    Kor::Link::ConnectorConfig application;
    application.setUp = [&](Kor::NboAttrLog::Session& session) { session.want("lif", mine); };
    Kor::Link::Connector const connector(loop, address, application);
    bool const came = loop.runUntil([&] { return mine->appConfig(Hardware::Loam::vtAppMpls) != nullptr; },
                                    std::chrono::seconds(60));
    return came ? 0 : 1;
}
