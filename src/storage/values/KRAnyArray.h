#pragma once

#include "arrays/containers/KRArrayContainer.h"
#include "storage/values/ElementType.h"

#include <memory>
#include <variant>

// An array container of any member that a storage can hold, or none. Copies share the container.
class KRAnyArray {
public:
    template <class T>
    using Pointer = std::shared_ptr<KRArrayContainer<T>>;

    KRAnyArray() = default;
    KRAnyArray(std::nullptr_t) { }
    template <class T>
    KRAnyArray(Pointer<T> array) // Null gives none.
    {
        if (array)
            content_ = std::move(array);
    }
    // Not cleared; none without memory for it, which the container reports.
    static KRAnyArray make(ElementType type, long m, long n, long o)
    {
        return withElementType(type, [&]<class T>(std::type_identity<T>) {
            return KRAnyArray(KRArrayContainer<T>::createArrayOfSizeM(m, n, o));
        });
    }

    explicit operator bool() const { return content_.index() != 0; }
    ElementType type() const { return static_cast<ElementType>(content_.index() - 1); } // Of an array alone.
    // The container; null for another member.
    template <class T>
    Pointer<T> as() const
    {
        const auto* held = std::get_if<Pointer<T>>(&content_);
        return held ? *held : nullptr;
    }

    long m() const
    {
        return ask([](const auto& array) { return array.m(); });
    }
    long n() const
    {
        return ask([](const auto& array) { return array.n(); });
    }
    long o() const
    {
        return ask([](const auto& array) { return array.o(); });
    }
    long length() const
    {
        return ask([](const auto& array) { return array.length(); });
    }
    long memoryUsed() const
    {
        return ask([](const auto& array) { return array.memoryUsed(); });
    } // Bytes.
    std::uint64_t checksum() const
    {
        return ask([](const auto& array) { return static_cast<std::uint64_t>(array.checksum()); });
    }
    platform::Value convertToRawFormat() const
    {
        return ask([](const auto& array) { return array.convertToRawFormat(); });
    }
    const void* elements() const
    {
        return ask([](const auto& array) { return static_cast<const void*>(array.constPointer()); });
    }
    void* mutableElements() // Of a mutable array.
    {
        return ask([](auto& array) { return static_cast<void*>(array.mutablePointer()); });
    }
    bool sharesWith(const KRAnyArray& other) const { return content_ == other.content_; } // The container.

private:
    // What the container answers; for none, an empty answer.
    template <class Question, class Answer = std::invoke_result_t<Question, KRDoubleArrayContainer&>>
    Answer ask(Question question) const
    {
        return std::visit(
            [&]<class Held>(const Held& held) -> Answer {
                if constexpr (std::is_same_v<Held, std::monostate>)
                    return Answer{};
                else
                    return question(*held);
            },
            content_);
    }

    // Behind the first one in the order of ElementType.
    std::variant<std::monostate, Pointer<double>, Pointer<float>, Pointer<std::int32_t>,
        Pointer<std::int16_t>, Pointer<std::uint16_t>, Pointer<signed char>, Pointer<unsigned char>>
        content_;
};
