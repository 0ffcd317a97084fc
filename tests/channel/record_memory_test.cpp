// Decoding single records when memory runs out at each place, and descriptions that cannot be copied.
#include "decoded_record.h"
#include "failing_calls.h"

#include <cstdlib>
#include <new>
#include <vector>

using namespace trox_test;

namespace
{

/// How many objects may still be made before memory runs out; negative: any number.
int objects_left = -1;

} // namespace

// Not inlined: GCC would take the pair of malloc and delete for a mistake.
[[gnu::noinline]] void* operator new(std::size_t size)
{
    if (objects_left == 0) {
        throw std::bad_alloc();
    }
    objects_left -= objects_left > 0 ? 1 : 0;
    if (void* object = std::malloc(size)) {
        return object;
    }
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* object) noexcept
{
    std::free(object);
}

[[gnu::noinline]] void operator delete(void* object, std::size_t) noexcept
{
    std::free(object);
}

namespace
{

template <class T> class record_without_memory : public decoded_record<T>
{
protected:
    using base = decoded_record<T>;

    /// Lets the first `blocks` pieces of a record, together `size` bytes, find memory, and nothing behind them. What
    /// a record takes lies in one piece of memory, or in separate ones where overflows are looked for.
    void leave_room_for(int blocks, std::size_t size)
    {
        constexpr std::size_t first_chunk = 4096;
        ASSERT_NE(base::arena_.allocate(first_chunk - (size + 7) / 8 * 8), nullptr);
        passing_ = arena_takes_separate_blocks() ? 1 + blocks : 1; // the first one is for the typed basket
        fail_decoding();
    }
    void fail_decoding()
    {
        calls_.allocations.fail(passing_ + 1, 1000);
    }
    bool arena_takes_separate_blocks()
    {
        trox_detail::record_arena arena;
        calls_.allocations.reset();
        arena.allocate(8);
        arena.allocate(8);
        return calls_.allocations.made > 1;
    }
    void expect_text(const std::string& text)
    {
        base::expect_failure(decode_outcome::failed_hard, text);
    }

    static constexpr std::size_t event_header = (sizeof(typename T::event_header) + 7) / 8 * 8;
    static constexpr std::size_t heads = event_header + (sizeof(typename T::server_block_head) + 7) / 8 * 8;
    failing_calls calls_;
    int passing_ = 1;
};
TYPED_TEST_SUITE(record_without_memory, channel_generations);

} // namespace

TYPED_TEST(record_without_memory, for_its_event_header_fails)
{
    this->add_subhead(this->trace, 0, this->head_size);
    this->leave_room_for(0, this->event_header - 8);
    this->expect_text("Failed to malloc additional event header [0-9]+ .. exiting\n");
}

TYPED_TEST(record_without_memory, for_its_server_block_head_fails)
{
    this->add_subhead(this->trace, 0, this->head_size);
    this->leave_room_for(1, this->heads - 8);
    this->expect_text("Failed to malloc additional server block header [0-9]+ .. exiting\n");
}

TYPED_TEST(record_without_memory, for_a_plain_block_fails)
{
    this->add_subhead(this->trace, 0, this->head_size + 4);
    this->channel_.fill(4);
    this->leave_room_for(2, this->heads + this->head_size - 8);
    this->expect_text("Failed to malloc working memory .NOTZIPPPED. [0-9]+ .. exiting\n");
}

TYPED_TEST(record_without_memory, for_a_slow_value_fails)
{
    for (const int dtype : {TypeParam::update_type + 0, TROX_ENV_BLOCK + 0}) {
        this->arena_ = {};
        this->calls_.allocations.reset();
        this->empty_channel();
        this->add_subhead(dtype, 0, this->head_size);
        this->channel_.fill(sizeof(typename TypeParam::update_block));
        this->leave_room_for(2, this->heads);
        this->expect_text("Failed to malloc working memory .UPD. [0-9]+ .. exiting\n");
    }
}

TYPED_TEST(record_without_memory, to_decompress_fails)
{
    this->add_zipped(this->trace, 1, 12, this->stored_stream(byte_builder().fill(12)));
    this->leave_room_for(2, this->heads);
    this->expect_text("Failed to malloc additional memory [0-9]+ .. exiting\n");
    this->arena_ = {};
    this->calls_.allocations.reset();
    this->leave_room_for(2, this->heads);
    ++this->passing_; // the work area's
    this->fail_decoding();
    this->expect_text("Failed to malloc working memory [0-9]+ .. exiting\n");
}

TYPED_TEST(record_without_memory, leaves_the_arena_to_the_next_record)
{
    this->add_subhead(this->trace, 0, this->head_size + 4);
    this->channel_.fill(4);
    this->leave_room_for(3, this->heads + this->head_size + 4);
    for (int i = 0; i < 3; ++i) {
        this->channel_.patch(this->basket_head + offsetof(typename TypeParam::subhead, dtype), 55);
        this->fail_decoding();
        this->expect_text(not_converted);
    }
    this->channel_.patch(this->basket_head + offsetof(typename TypeParam::subhead, dtype), this->trace);
    this->fail_decoding();
    EXPECT_EQ(this->decode(), decode_outcome::record) << "the failed ones took no room: " << this->printed_;
}

TYPED_TEST(record_without_memory, copies_the_bits_and_dimensions_of_a_description_as_far_as_memory_goes)
{
    chan_descr_2010 description;
    std::strcpy(description.prop_name, "PROPERTY");
    description.nbits = 2;
    description.ndims = 2;
    const auto no_memory_after = [&](int objects, typename TypeParam::loader* loader) {
        for (int i = 0; i < 2 && description.bits.size() < 2; ++i) {
            description.bits.push_back(new bit_descr);
            description.dims.push_back(new dim_descr);
        }
        const std::string printed =
            capture([&] {
                objects_left = objects;
                const typename TypeParam::reader reader(loader, "TEST/CHANNEL", -1, &description);
                objects_left = -1;
            }).out;
        return printed;
    };
    const std::string path = sample_directory(TypeParam::samples) + sample_names(TypeParam::samples).front();
    typename TypeParam::loader loader(0);
    ASSERT_EQ(loader.get_all_tables(path, 0, nullptr), 0);
    const std::string bits = "Failed to malloc bits entry for TEST/CHANNEL\n";
    const std::string dims = "Failed to malloc dim desription  entry for TEST/CHANNEL\n";
    // The reader makes the file's name, then room for two bits, two bits, room for two dimensions, two dimensions.
    for (const int objects : {1, 2, 3}) {
        EXPECT_EQ(no_memory_after(objects, &loader), bits + dims) << objects;
    }
    for (const int objects : {4, 5, 6}) {
        EXPECT_EQ(no_memory_after(objects, &loader), dims) << objects;
    }
    EXPECT_EQ(no_memory_after(7, &loader), "");
}
