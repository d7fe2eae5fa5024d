// TCP on 127.0.0.1 for tests that play a server or need a port nobody listens on.
#pragma once

namespace testsupport {

// A socket listening on 127.0.0.1 at a port the kernel chose, which `port` gets.
int listenOnLoopback(int& port);
// A port of 127.0.0.1 that nothing listens on (free when asked; bind it soon after).
int freeLoopbackPort();
// Whether something accepts a connection on 127.0.0.1:port.
bool loopbackAccepts(int port);

}  // namespace testsupport
