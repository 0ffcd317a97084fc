// The slicer when any one of its own allocations fails: every call answers, none throws.
#include "allocations.h"
#include "slicer_files.h"

namespace slicer_test
{

using trox_test::failing_allocation;

template <class T> class slicer_memory : public slicer_files<T>
{
protected:
    void SetUp() override
    {
        slicer_files<T>::SetUp();
        this->add_file("0", {{"A", events(1, 3)}, {"B", events(1, 3)}});
        this->add_file("1", {{"A", events(4, 6)}, {"B", events(4, 6)}});
    }

    /// Calls with the first allocation failing, the second, ..., until there is none left to fail. Answers their
    /// number.
    template <class Call> long fail_each_allocation(Call call)
    {
        constexpr long bound = 2000;
        for (long n = 1; n < bound; ++n) {
            if (!call(n)) {
                return n - 1;
            }
        }
        ADD_FAILURE() << "no end";
        return bound;
    }

    const channel_list<T> channels{"A", "B"};
};
TYPED_TEST_SUITE(slicer_memory, slicer_generations, slicer_generation_names);

TYPED_TEST(slicer_memory, init_answers_without_memory_for_its_lists)
{
    std::vector<char*> names;
    for (auto& file : this->files) {
        names.push_back(file.data());
    }
    const auto each = [&](const auto& list) {
        return this->fail_each_allocation([&](long n) {
            slicer_of<TypeParam> slicer;
            bool has_failed = false;
            int status = 0;
            {
                const failing_allocation fails(n);
                EXPECT_NO_THROW(status = init(slicer, list, this->channels));
                has_failed = fails.has_failed();
            }
            EXPECT_EQ(status, has_failed ? -6 : 0) << "allocation " << n;
            EXPECT_EQ(slicer.start(), has_failed ? -1 : 0) << "after a failure the lists are empty";
            return has_failed;
        });
    };
    EXPECT_GE(each(this->files), 3);
    EXPECT_GE(each(names), 6);
}

TYPED_TEST(slicer_memory, start_answers_whichever_allocation_fails)
{
    const long number = this->fail_each_allocation([&](long n) {
        slicer_of<TypeParam> slicer;
        EXPECT_EQ(init(slicer, this->files, this->channels), 0);
        bool has_failed = false;
        int status = 0;
        printed_by([&] {
            const failing_allocation fails(n);
            EXPECT_NO_THROW(status = slicer.start());
            has_failed = fails.has_failed();
        });
        EXPECT_TRUE(status == 0 || (has_failed && status == -6)) << "allocation " << n << ", answer " << status;
        const bool is_complete = status == 0 && slicer.get_not_found_channels() == std::string();
        EXPECT_NE(is_complete, has_failed) << "allocation " << n;
        return has_failed;
    });
    EXPECT_GE(number, 3) << "the list of bad files, and one reader for each channel";
}

TYPED_TEST(slicer_memory, get_data_answers_whichever_allocation_fails)
{
    const long number = this->fail_each_allocation([&](long n) {
        slicer_of<TypeParam> slicer;
        EXPECT_EQ(init(slicer, this->files, this->channels), 0);
        EXPECT_EQ(slicer.start(), 0);
        bool has_failed = false;
        std::size_t delivered = 0;
        printed_by([&] {
            const failing_allocation fails(n);
            records_of<TypeParam> found;
            for (int status = 0; status != -3;) {
                EXPECT_NO_THROW(status = slicer.get_data(nullptr, &found, next));
                if (status != 0 && status != -3 && !(status == -6 && fails.has_failed())) {
                    ADD_FAILURE() << "allocation " << n << ", answer " << status;
                    break;
                }
                delivered += found.size();
            }
            has_failed = fails.has_failed();
        });
        EXPECT_LE(delivered, 12U);
        if (!has_failed) {
            EXPECT_EQ(delivered, 12U);
        }
        return has_failed;
    });
    EXPECT_GE(number, 3) << "the result, and one reader for each channel";
}

} // namespace slicer_test
