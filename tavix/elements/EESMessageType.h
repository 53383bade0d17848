#ifndef TAVIX_ELEMENTS_EESMESSAGETYPE_H
#define TAVIX_ELEMENTS_EESMESSAGETYPE_H

namespace Tavix {

// What a message is: the byte at offset 12 of its header.
enum EESMessageType {
    Response = 1,
    CallMethod = 4,
    CallVoidMethod = 5,
    AddObserver = 9,
    RemoveObserver = 10,
    AddSharedObject = 12,
    RemoveSharedObject = 13,
    Event = 14,
    BackChannel = 15
};

} // namespace Tavix

#endif
