#pragma once

// Messages posted on named stations and delivered to the listeners registered there. Delivery
// runs on the thread that posts; the runtime starts no thread of its own.

#include <cstdint>
#include <string_view>
#include <typeinfo>

#include "tenacore/Export.h"

namespace tenacore::messaging
{

using MessageID = uint32_t;

// The identifier of a message type, from its decorated (mangled) type name.
TENACORE_API MessageID HashMessageTypeNameToMessageID(std::string_view inDecoratedName);

class TENACORE_API Message
{
public:
    virtual ~Message();
    virtual MessageID GetMessageID() const = 0;
};

// A message type whose identifier comes from its own decorated name.
template <class Derived>
class TypedMessage : public Message
{
public:
    static MessageID ID() { return HashMessageTypeNameToMessageID(typeid(Derived).name()); }
    MessageID GetMessageID() const override { return ID(); }
};

// What a station delivers to.
class TENACORE_API CommonListener
{
public:
    virtual ~CommonListener();
    virtual void ReceiveMessage(const Message& inMessage) = 0;
};

// A listener that can be switched off, and whose registrations end when it goes.
class TENACORE_API Listener : public CommonListener
{
public:
    Listener() = default;
    ~Listener() override;
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    bool IsEnabled() const noexcept { return mEnabled; }
    void SetEnabled(bool inEnabled) noexcept { mEnabled = inEnabled; }

private:
    bool mEnabled = true;
};

// Registers inListener, which the caller keeps alive, on the station of that name.
TENACORE_API void AddRawPtrListener(std::string_view inStation, Listener* inListener);
// Ends every registration of inListener.
TENACORE_API void RemoveListener(Listener* inListener);
// Delivers inMessage to every listener of the station, in the order they were added, before it
// returns.
TENACORE_API void Post(std::string_view inStation, const Message& inMessage);

} // namespace tenacore::messaging
