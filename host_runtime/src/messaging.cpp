#include "tenacore/messaging.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tenacore::messaging
{

namespace
{

struct Registration
{
    std::string station;
    Listener* listener;
};

// Held across a whole delivery, so that a listener is never removed while it receives; recursive
// so that a listener may post in turn. The registry outlives every listener, those that static
// objects hold and that go at exit included, so it is never destroyed.
std::recursive_mutex& RegistryMutex()
{
    static std::recursive_mutex* mutex = new std::recursive_mutex;
    return *mutex;
}

std::vector<Registration>& Registrations()
{
    static std::vector<Registration>* registrations = new std::vector<Registration>;
    return *registrations;
}

} // namespace

MessageID HashMessageTypeNameToMessageID(std::string_view inDecoratedName)
{
    // FNV-1a: stable across runs and platforms for one name.
    uint32_t hash = 2166136261u;
    for (const char c : inDecoratedName)
        hash = (hash ^ uint8_t(c)) * 16777619u;
    return hash;
}

Message::~Message() = default;
CommonListener::~CommonListener() = default;

Listener::~Listener()
{
    RemoveListener(this);
}

void AddRawPtrListener(std::string_view inStation, Listener* inListener)
{
    std::lock_guard lock(RegistryMutex());
    Registrations().push_back({std::string(inStation), inListener});
}

void RemoveListener(Listener* inListener)
{
    std::lock_guard lock(RegistryMutex());
    std::erase_if(Registrations(),
                  [inListener](const Registration& inEntry) { return inEntry.listener == inListener; });
}

void Post(std::string_view inStation, const Message& inMessage)
{
    std::lock_guard lock(RegistryMutex());
    std::vector<Listener*> listeners;
    for (const Registration& registration : Registrations())
        if (registration.station == inStation)
            listeners.push_back(registration.listener);
    for (Listener* listener : listeners)
        listener->ReceiveMessage(inMessage);
}

} // namespace tenacore::messaging
