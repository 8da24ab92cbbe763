#pragma once

#include <memory>
#include <string_view>
#include <typeinfo>
#include <utility>

#include "tenacore/allocator.h"
#include "tenacore/config.h"
#include "tenacore/debug.h"

namespace tenacore::utility::detail
{

// The shared base through which an object hands out shared references to itself.
class SharedAsVirtualBase : public std::enable_shared_from_this<SharedAsVirtualBase>
{
public:
    virtual ~SharedAsVirtualBase() = default;
};

constexpr std::string_view StripTypePrefix(std::string_view inName)
{
    for (std::string_view prefix : {"class ", "struct "})
        if (inName.substr(0, prefix.size()) == prefix)
            return inName.substr(prefix.size());
    return inName;
}

// The qualified name of T as the compiler spells it, e.g. "QT::IQTMovie".
template <class T>
constexpr std::string_view FunctionName()
{
#if defined(_MSC_VER) && !defined(__clang__)
    constexpr std::string_view whole = __FUNCSIG__;
    constexpr std::string_view open = "FunctionName<";
    constexpr std::string_view close = ">(void)";
#else
    constexpr std::string_view whole = __PRETTY_FUNCTION__;
    constexpr std::string_view open = "T = ";
    constexpr std::string_view close = "]";
#endif
    constexpr size_t start = whole.find(open) + open.size();
    constexpr std::string_view rest = whole.substr(start);
#if defined(_MSC_VER) && !defined(__clang__)
    constexpr size_t end = rest.rfind(close);
#else
    // GCC appends "; std::string_view = ..." behind the parameter.
    constexpr size_t semicolon = rest.find(';');
    constexpr size_t end = semicolon != std::string_view::npos ? semicolon : rest.rfind(close);
#endif
    return StripTypePrefix(rest.substr(0, end));
}

} // namespace tenacore::utility::detail

namespace tenacore::classref
{

// Virtual base of every interface: the name-keyed interface query.
class UnknownBase : public virtual utility::detail::SharedAsVirtualBase
{
public:
    // The address of the requested interface of this object, or null.
    virtual void* QueryInterface(std::string_view inName) = 0;

    std::shared_ptr<UnknownBase> GetSharedFromThis()
    {
        return std::shared_ptr<UnknownBase>(shared_from_this(), this);
    }
};

// Base of every interface.
class Unknown : public virtual UnknownBase
{
public:
    virtual std::shared_ptr<UnknownBase> GetShared() { return GetSharedFromThis(); }
};

// Answers a QueryInterface for a class with one interface: its own name and its interface's.
template <class Concrete, class Interface>
void* QueryConcreteOrInterface(Concrete* inSelf, std::string_view inName)
{
    if (inName == utility::detail::FunctionName<Concrete>())
        return static_cast<void*>(inSelf);
    if (inName == utility::detail::FunctionName<Interface>())
        return static_cast<void*>(static_cast<Interface*>(inSelf));
    return nullptr;
}

// A counted reference to interface T of an object. Null when either pointer is null;
// dereferencing a null reference throws NullPointerError.
template <class T>
class InterfaceRef
{
public:
    InterfaceRef() noexcept = default;

    // Asks inObject for T by T's name; a refusal gives a null reference.
    static InterfaceRef Query(const std::shared_ptr<UnknownBase>& inObject)
    {
        InterfaceRef ref;
        if (!inObject)
            return ref;
        void* found = inObject->QueryInterface(utility::detail::FunctionName<T>());
        if (found)
        {
            ref.mPtr = static_cast<T*>(found);
            ref.mObject = inObject;
        }
        return ref;
    }

    template <class U>
    static InterfaceRef Query(const InterfaceRef<U>& inOther)
    {
        return Query(inOther.GetUnknown());
    }

    bool IsNull() const noexcept { return mPtr == nullptr || mObject == nullptr; }
    explicit operator bool() const noexcept { return !IsNull(); }

    T* operator->() const { return Checked(); }
    T& operator*() const { return *Checked(); }
    T* Get() const noexcept { return IsNull() ? nullptr : mPtr; }
    const std::shared_ptr<UnknownBase>& GetUnknown() const noexcept { return mObject; }
    long UseCount() const noexcept { return mObject.use_count(); }

    void Reset() noexcept
    {
        mPtr = nullptr;
        mObject.reset();
    }

private:
    T* Checked() const
    {
        if (IsNull())
            config::DoThrowNullPtrException(debug::GetTypeName(typeid(T)));
        return mPtr;
    }

    T* mPtr = nullptr;
    std::shared_ptr<UnknownBase> mObject;
};

// Makes an object in one allocation with its counts.
template <class T, class... Args>
std::shared_ptr<T> MakeObject(Args&&... inArgs)
{
    return std::allocate_shared<T>(allocator::STLAllocator<T>(), std::forward<Args>(inArgs)...);
}

} // namespace tenacore::classref
