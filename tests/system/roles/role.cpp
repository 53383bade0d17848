// A process at the bus under QZV_RUNTIME_DIR, in one of four parts.
//   owner NAME...               serves these objects until standard input ends; says "ready" when it does, and
//                               what it hears of observers
//   mortal NAME STEPS           the same for one object, and dies when it would send once more than that
//   sender OBJECT STEPS         sends OBJECT eight pipes to fill, dies in the same way, and says before how many are
//                               not answered
//   caller OBJECT METHOD COUNT  has COUNT calls open at once, the last of them blocking, and says of each the
//                               code and the text of the exception that ended it
#include <tavix/tavix.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace Tavix;

namespace {

void say(std::string const& line)
{
    std::puts(line.c_str());
    std::fflush(stdout);
}

int stepsLeft = -1; // for ever
int unanswered = 0;

int die()
{
    say(std::to_string(unanswered));
    return raise(SIGKILL);
}

void step()
{
    if (stepsLeft >= 0 && stepsLeft-- == 0)
        die();
}

} // namespace

// What the library does on sockets.
#pragma GCC visibility push(default)
extern "C" ssize_t send(int fd, void const* data, size_t size, int flags)
{
    step();
    return sendto(fd, data, size, flags, nullptr, 0);
}

extern "C" ssize_t sendmsg(int fd, msghdr const* message, int flags)
{
    step();
    return syscall(SYS_sendmsg, fd, message, flags);
}
#pragma GCC visibility pop

namespace {

// Does something with every descriptor in a tree.
void visit(Element* params, FileDescriptorVisitor::Callback callback)
{
    FileDescriptorVisitor visitor(callback, nullptr, "");
    params->accept(&visitor);
}

void fill(void*, FileDescriptorElem* element, std::string const&)
{
    if (write(element->intValue(), "filled", 6) != 6)
        say("the reader has gone");
    close(element->intValue());
}

class Owner : public SharedObjectObserver {
public:
    using SharedObjectObserver::callMethod;
    using Invocation = SharedPtr<MethodInvocation>;

    explicit Owner(TavixProxy& proxy) : _proxy(proxy) {}

    Element* callMethod(std::string, std::string method, Element* params) override
    {
        RemoteProxyResult result;
        if (method == "echo")
            return params->clone();
        if (method == "text")
            return new StringElem(std::string(static_cast<size_t>(params->intValue()), 'x'));
        if (method == "descriptor")
            return new FileDescriptorElem(params->intValue(), "host", "pid", "exe");
        if (method == "count")
            return new IntegerElem(++_count);
        if (method == "pid")
            return new IntegerElem(getpid());
        if (method == "exit")
            _exit(params->intValue());
        if (method == "firstObserverAdded") {
            say("first " + params->stringValue());
            return (new ListElem)->add(params->clone())->add(getpid());
        }
        if (method == "lastObserverRemoved") {
            say("last " + JsonVisitor::toJsonString(params));
            return new NullElem;
        }
        if (method == "fill") {
            visit(params, fill);
            return new NullElem;
        }
        if (method == "via") { // hands {"object", "method", "params"} on
            Element* answer = _proxy.callMethod(params->getChild("object")->stringValue(),
                                                params->getChild("method")->stringValue(),
                                                params->getChild("params"), result);
            visit(params,
                  [](void*, FileDescriptorElem* passed, std::string const&) { close(passed->intValue()); });
            return answer;
        }
        return new ExceptionElem("Unknown method", -1);
    }

    bool handleMethod(Invocation invocation) override
    {
        const std::string method = invocation->getMethodName();
        if (method == "later")
            std::thread([invocation]() mutable { invocation->respond(invocation->getParams()); }).detach();
        else if (method == "hold")
            hold(invocation);
        else
            return false;
        return true;
    }

private:
    void hold(Invocation const& invocation)
    {
        _held.push_back(invocation);
        say("held");
    }

    TavixProxy& _proxy;
    std::vector<Invocation> _held;
    int _count = 0;
};

int serve(SharedPtr<PollLoopIf> const& loop, TavixProxy& proxy, char** names, int steps)
{
    Owner owner(proxy);
    RemoteProxyResult result;
    for (; *names; ++names)
        proxy.addSharedObject(*names, &owner);
    delete proxy.callMethod("tvx", "listObjects", nullptr, result); // the bus knows the objects now
    bool ended = false;
    void** input = nullptr;
    loop->newSource(STDIN_FILENO, &input);
    loop->sourceAddWatch(input, kReadWatch);
    loop->addSource(
        input, [](void**, void* flag) { *static_cast<bool*>(flag) = true; }, &ended);
    say("ready");
    stepsLeft = steps;
    while (!ended)
        loop->iterate();
    loop->removeSource(input);
    loop->deleteSource(input);
    return 0;
}

void report(ResponseData const* response, void* left)
{
    Element* value = response->map->getChild("result");
    say(std::to_string(value->intValue()) + " " + value->stringValue());
    --*static_cast<int*>(left);
}

int call(SharedPtr<PollLoopIf> const& loop, TavixProxy& proxy, char const* object, char const* method,
         int left)
{
    for (int i = --left; i > 0; --i)
        proxy.callMethodAsync(object, method, nullptr, report, &left);
    RemoteProxyResult result;
    std::unique_ptr<Element> value(proxy.callMethod(object, method, nullptr, result));
    say(std::to_string(result) + " " + value->stringValue());
    while (left > 0)
        loop->iterate();
    return 0;
}

int sendAndDie(SharedPtr<PollLoopIf> const& loop, TavixProxy& proxy, char const* object, int steps)
{
    stepsLeft = steps;
    for (; unanswered < 8; ++unanswered) {
        int ends[2];
        if (pipe(ends) != 0)
            return 1;
        FileDescriptorElem params(ends[1], "", "", "");
        auto count = [](ResponseData const*, void*) { --unanswered; };
        proxy.callMethodAsync(object, "fill", &params, count, nullptr);
    }
    while (unanswered > 0)
        loop->iterate();
    return die();
}

} // namespace

int main(int argc, char** argv)
{
    signal(SIGPIPE, SIG_IGN);
    SharedPtr<PollLoopIf> loop(new SelectLoopGlue);
    TavixProxy proxy(loop);
    if (argc < 3 || !proxy.connect(nullptr, 0))
        return 1;
    const std::string role = argv[1];
    if (role == "owner")
        return serve(loop, proxy, argv + 2, -1);
    if (argc == 5)
        return call(loop, proxy, argv[2], argv[3], std::atoi(argv[4]));
    const int steps = argc == 4 ? std::atoi(std::exchange(argv[3], nullptr)) : -1;
    return role == "sender" ? sendAndDie(loop, proxy, argv[2], steps) : serve(loop, proxy, argv + 2, steps);
}
