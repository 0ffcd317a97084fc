// A table of texts, one per value of a message enumeration.
#ifndef TROX_GENERATION_MESSAGE_TABLE_H
#define TROX_GENERATION_MESSAGE_TABLE_H

#include <array>
#include <cstddef>

namespace trox_detail
{

/// The texts of an enumeration whose last value is `count`, in its order. A missing text does not compile.
template <class Message> class message_table
{
public:
    static constexpr std::size_t size = static_cast<std::size_t>(Message::count);

    template <std::size_t N> constexpr explicit(false) message_table(const char* const (&texts)[N])
    {
        static_assert(N == size, "one text per message");
        for (std::size_t i = 0; i < N; ++i) {
            texts_[i] = texts[i];
        }
    }

    constexpr const char* operator[](Message message) const
    {
        return texts_[static_cast<std::size_t>(message)];
    }

private:
    std::array<const char*, size> texts_{};
};

} // namespace trox_detail

#endif
