// The property front end when its readers refuse the way of matching events. New ones never do, so the linker puts
// functions of this program in the place of the readers' own.
#include "front_end_fixture.h"

namespace
{

bool legacy_refuses = false;
bool reader_2010_refuses = false;
bool reader_2024_refuses = false;

} // namespace

// basic_reader<...>::set_synch_mode(int) of each generation, and what stands in its place.
extern "C" {
int __real__ZN11trox_detail12basic_readerINS_17generation_legacyEE14set_synch_modeEi(void* reader, int mode);
int __wrap__ZN11trox_detail12basic_readerINS_17generation_legacyEE14set_synch_modeEi(void* reader, int mode)
{
    return legacy_refuses
               ? TROX_DAQ_READER_NOT_ALLOWED
               : __real__ZN11trox_detail12basic_readerINS_17generation_legacyEE14set_synch_modeEi(reader, mode);
}
int __real__ZN11trox_detail12basic_readerINS_15generation_2010EE14set_synch_modeEi(void* reader, int mode);
int __wrap__ZN11trox_detail12basic_readerINS_15generation_2010EE14set_synch_modeEi(void* reader, int mode)
{
    return reader_2010_refuses
               ? TROX_DAQ_READER_NOT_ALLOWED
               : __real__ZN11trox_detail12basic_readerINS_15generation_2010EE14set_synch_modeEi(reader, mode);
}
int __real__ZN11trox_detail12basic_readerINS_15generation_2024EE14set_synch_modeEi(void* reader, int mode);
int __wrap__ZN11trox_detail12basic_readerINS_15generation_2024EE14set_synch_modeEi(void* reader, int mode)
{
    return reader_2024_refuses
               ? TROX_DAQ_READER_NOT_ALLOWED
               : __real__ZN11trox_detail12basic_readerINS_15generation_2024EE14set_synch_modeEi(reader, mode);
}
}

namespace trox_test
{

class refusing_readers : public front_end
{
protected:
    refusing_readers()
    {
        legacy_refuses = false;
        reader_2010_refuses = false;
        reader_2024_refuses = false;
        want("A/CHANNEL");
    }
    std::string small_list()
    {
        return list(small_file("linac_main_run1_file1_20120614T093000.raw") + "\n");
    }
};

TEST_F(refusing_readers, a_legacy_reader_that_refuses_to_match_by_number_is_dropped)
{
    legacy_refuses = true;
    const std::string path = small_list();
    EXPECT_EQ(told([&] { EXPECT_EQ(init(path), 0); }), "trox_daq_data::Init: can not synch mode for Reader\n");
    EXPECT_EQ(data_.GetReader(), nullptr);
    ASSERT_NE(data_.GetReader_2010(), nullptr);
    EXPECT_EQ(data_.GetData(), 0);
    EXPECT_EQ(data_.GetRes()->size(), 1U);
}

TEST_F(refusing_readers, a_2010_reader_that_refuses_to_match_by_number_ends_the_init)
{
    reader_2010_refuses = true;
    const std::string path = small_list();
    EXPECT_EQ(told([&] { EXPECT_EQ(init(path), -2); }), "trox_daq_data::Init: can not synch mode for Reader2010\n");
    EXPECT_NE(data_.GetReader(), nullptr) << "it did not refuse";
    EXPECT_EQ(data_.GetReader_2010(), nullptr);
    EXPECT_EQ(data_.GetStatus(), 0);
    legacy_refuses = true;
    EXPECT_EQ(told([&] { EXPECT_EQ(init(path), -2); }),
              "trox_daq_data::Init: can not synch mode for Reader\ntrox_daq_data::Init: can not synch mode for "
              "Reader2010\n");
    EXPECT_EQ(data_.GetReader(), nullptr);
}

TEST_F(refusing_readers, a_2024_reader_that_refuses_to_match_by_number_ends_the_init)
{
    reader_2024_refuses = true;
    const std::string path = small_list();
    EXPECT_EQ(told([&] { EXPECT_EQ(init_2024(path), -2); }), "trox_daq_data::Init2024: can not synch mode\n");
    EXPECT_EQ(data_.GetReader_2024(), nullptr);
    EXPECT_EQ(data_.GetStatus(), 0);
}

} // namespace trox_test
