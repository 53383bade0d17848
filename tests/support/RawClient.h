#ifndef TAVIX_TESTS_SUPPORT_RAWCLIENT_H
#define TAVIX_TESTS_SUPPORT_RAWCLIENT_H

#include "tavix/elements/EESMessageType.h"
#include "tavix/elements/MapElem.h"

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

// Frames as they stand on a socket. Elements are taken.
std::string makeRequest(Tavix::EESMessageType type, unsigned id, std::string const& objName,
                        std::string const& name = "", Tavix::Element* value = nullptr);
std::string makeResponse(unsigned id, unsigned clientId, Tavix::Element* result);
// A message with a root map of any content; one with any bytes behind the header, and a size field that is
// right.
std::string makeMessage(unsigned id, unsigned clientId,
                        std::initializer_list<std::pair<char const*, Tavix::Element*>> root);
std::string makeFrame(unsigned id, unsigned clientId, std::string const& body);
// `frame`, which ends with a null, with lists in that place: deeper than a message may be.
std::string withDeepValue(std::string const& frame);
// `frame` with the client that the bus writes into it.
std::string stamped(std::string frame, unsigned clientId);
std::string bigEndian(unsigned value);

// A list in a list, and so on: `levels` of them.
Tavix::Element* makeNested(unsigned levels);
// A text of `length` characters.
Tavix::Element* makeText(size_t length);

// An exception as "!CODE TEXT", anything else as JSON.
std::string describe(Tavix::Element const* value);

struct Frame {
    explicit Frame(std::string const& frame);
    // A response as "ID: VALUE", a request as "RULE ID OBJECT.NAME VALUE".
    std::string describe() const;

    std::string bytes;
    unsigned id = 0;
    unsigned clientId = 0;
    std::shared_ptr<Tavix::MapElem> root; // empty when it does not decode
};

// A stream socket that says and hears single frames, or whatever bytes a test wants said. Every wait is
// bounded, and fails the test at a limit that only a fault reaches.
class RawClient {
public:
    // Takes fd, a connected socket. `meanwhile` runs in every wait: passes of a loop that the test's own
    // thread steps.
    explicit RawClient(int fd, std::function<void()> meanwhile = nullptr);

    void send(std::string const& bytes);
    // The next frame; without bytes at the end of the connection.
    Frame receive();
    // The description of the next frame; "end" at the end of the connection.
    std::string hear();
    std::string ask(std::string const& request);
    // Nothing has come, and the connection stands.
    bool isQuiet();
    void close() { _fd.reset(); }

private:
    void wait(short events);
    void read();
    bool fill(size_t length);

    std::function<void()> _meanwhile;
    std::shared_ptr<int const> _fd;
    bool _ended = false;
    std::string _unread;
};

#endif
