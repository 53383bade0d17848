// dbus-broker is not told by a file what to do, but by its controller: a process at the other end of a socket, here
// the parent of the run, that hands it the socket to listen on and the policy.

#include "SdBus.h"
#include "SdBusConnection.h"

#include <sys/socket.h>
#include <sys/un.h>

namespace Bench {

namespace {

constexpr char kManyBytes[] = "1000000000";
constexpr char kMany[] = "1000000";
constexpr char kMachineId[] = "0123456789abcdef0123456789abcdef";

// Per user: whether it may connect, the names that it may own, what it may send and receive.
#define BATCH "bta(btbs)a(btssssuutt)a(btssssuutt)"
#define POLICY "a(u(" BATCH "))a(buu(" BATCH "))a(ss)bs"

Descriptor listenAt(std::string const& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        fail("the path of a private directory is too long for a socket");
    path.copy(address.sun_path, path.size());
    Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener.get(), SOMAXCONN) != 0)
        fail("the socket of dbus-broker cannot be made");
    return listener;
}

// For version 33. Everybody may do everything; no rules by group, for SELinux or for AppArmor.
void appendPolicy(sd_bus_message* call)
{
    const int yes = 1;
    const std::uint64_t first = 1;
    const std::uint64_t none = 0;
    const auto anyUser = static_cast<std::uint32_t>(-1);
    const auto append = [&](char const* types, auto... values) {
        checkSdBus(sd_bus_message_append(call, types, values...));
    };
    checkSdBus(sd_bus_message_open_container(call, 'v', "(" POLICY ")"));
    checkSdBus(sd_bus_message_open_container(call, 'r', POLICY));
    append("a(u(" BATCH "))", 1, anyUser, yes, first, 1, yes, first, yes, "", 1, yes, first, "", "", "", "",
           0, 0, none, UINT64_MAX, 1, yes, first, "", "", "", "", 0, 0, none, UINT64_MAX);
    append("a(buu(" BATCH "))", 0);
    append("a(ss)", 0);
    append("bs", 0, "session");
    checkSdBus(sd_bus_message_close_container(call));
    checkSdBus(sd_bus_message_close_container(call));
}

} // namespace

#undef POLICY
#undef BATCH

// The broker answers when it listens, and ends with this connection.
void SdBusSystem::startDbusBroker()
{
    const Descriptor listener = listenAt(makeDirectory() + "/bus");
    SocketPair control;
    const std::string number = std::to_string(control.second.get());
    startProgram(kBroker, kDbusBroker,
                 {kDbusBroker, "--controller", number, "--machine-id", kMachineId, "--max-bytes", kManyBytes,
                  "--max-fds", kMany, "--max-matches", kMany, "--max-objects", kMany},
                 {control.second.get()});
    control.second = Descriptor();
    sd_bus* controller = nullptr;
    checkSdBus(sd_bus_new(&controller));
    _controller.reset(controller);
    const int fd = control.first.release();
    checkSdBus(sd_bus_set_fd(controller, fd, fd));
    checkSdBus(sd_bus_start(controller));
    SdBusMessage call;
    checkSdBus(sd_bus_message_new_method_call(controller, call.fill(), nullptr, "/org/bus1/DBus/Broker",
                                              "org.bus1.DBus.Broker", "AddListener"));
    checkSdBus(sd_bus_message_append(call.get(), "oh", "/org/bus1/DBus/Listener/0", listener.get()));
    appendPolicy(call.get());
    if (sd_bus_call(controller, call.get(), 0, nullptr, nullptr) < 0)
        fail("dbus-broker does not listen; the policy that it gets is for the version of Debian 12");
}

} // namespace Bench
