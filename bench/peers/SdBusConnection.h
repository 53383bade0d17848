#ifndef TAVIX_BENCH_PEERS_SDBUSCONNECTION_H
#define TAVIX_BENCH_PEERS_SDBUSCONNECTION_H

#include "common/Fail.h"
#include "common/RunOptions.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <systemd/sd-bus.h>

namespace Bench {

constexpr char kSdBusName[] = "tavix.bench";
constexpr char kSdBusPath[] = "/bench";
constexpr char kSdBusInterface[] = "tavix.Bench";

inline int checkSdBus(int result)
{
    if (result < 0)
        fail(std::strerror(-result));
    return result;
}

// The same for what moves messages: ends the process with status 0 when the broker has gone.
inline int checkAlive(int result)
{
    if (result == -ECONNRESET || result == -ENOTCONN || result == -EPIPE)
        std::exit(0);
    return checkSdBus(result);
}

// A message of ours, or one that came and is kept.
class SdBusMessage {
public:
    SdBusMessage() = default;
    SdBusMessage(SdBusMessage const&) = delete;
    SdBusMessage& operator=(SdBusMessage const&) = delete;
    ~SdBusMessage() { sd_bus_message_unref(_message); }

    sd_bus_message* get() const { return _message; }
    // For a call that gives one back.
    sd_bus_message** fill()
    {
        _message = sd_bus_message_unref(_message);
        return &_message;
    }
    void append(void const* data, std::size_t size)
    {
        checkSdBus(sd_bus_message_append_array(_message, 'y', data, size));
    }

private:
    sd_bus_message* _message = nullptr;
};

// The byte array of a message, lent as long as the message lives.
struct SdBusBytes {
    explicit SdBusBytes(sd_bus_message* message)
    {
        checkSdBus(sd_bus_message_read_array(message, 'y', &data, &size));
    }
    std::string text() const { return std::string(static_cast<char const*>(data), size); }

    void const* data = nullptr;
    std::size_t size = 0;
};

// A connection to the system's broker.
class SdBusConnection {
public:
    explicit SdBusConnection(RunOptions const& options)
    {
        checkSdBus(sd_bus_new(&_bus));
        checkSdBus(sd_bus_set_address(_bus, ("unix:path=" + options.directory + "/bus").c_str()));
        checkSdBus(sd_bus_set_bus_client(_bus, 1));
        checkSdBus(sd_bus_start(_bus));
    }
    SdBusConnection(SdBusConnection const&) = delete;
    SdBusConnection& operator=(SdBusConnection const&) = delete;
    ~SdBusConnection() { sd_bus_close_unref(_bus); }

    sd_bus* get() const { return _bus; }

    // Handles all that has come.
    void process()
    {
        while (checkAlive(sd_bus_process(_bus, nullptr)) > 0) {
        }
    }

    // Until there may be something to handle.
    void wait() { checkAlive(sd_bus_wait(_bus, UINT64_MAX)); }

private:
    sd_bus* _bus = nullptr;
};

} // namespace Bench

#endif
