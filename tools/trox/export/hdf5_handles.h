// Objects of libhdf5 that close themselves, and its errors as exceptions.
#ifndef TROX_EXPORT_HDF5_HANDLES_H
#define TROX_EXPORT_HDF5_HANDLES_H

#include "rows.h"

#include <hdf5.h>
#include <string>
#include <string_view>
#include <utility>

namespace trox_export
{

/// Owns an identifier that `Close` closes.
template <herr_t (*Close)(hid_t)> class hdf5_handle
{
public:
    hdf5_handle() = default;
    explicit hdf5_handle(hid_t id) noexcept : id_(id) {}
    hdf5_handle(hdf5_handle&& other) noexcept : id_(std::exchange(other.id_, H5I_INVALID_HID)) {}
    hdf5_handle& operator=(hdf5_handle&& other) noexcept
    {
        std::swap(id_, other.id_);
        return *this;
    }
    ~hdf5_handle()
    {
        if (id_ >= 0) {
            Close(id_);
        }
    }
    hid_t get() const noexcept
    {
        return id_;
    }
    explicit operator bool() const noexcept
    {
        return id_ >= 0;
    }
    /// For objects whose end may fail.
    herr_t close() noexcept
    {
        return Close(std::exchange(id_, H5I_INVALID_HID));
    }

private:
    hid_t id_ = H5I_INVALID_HID;
};

using hdf5_file = hdf5_handle<H5Fclose>;
using hdf5_group = hdf5_handle<H5Gclose>;
using hdf5_dataset = hdf5_handle<H5Dclose>;
using hdf5_space = hdf5_handle<H5Sclose>;
using hdf5_type = hdf5_handle<H5Tclose>;
using hdf5_properties = hdf5_handle<H5Pclose>;
using hdf5_attribute = hdf5_handle<H5Aclose>;

[[noreturn]] void throw_hdf5_error(const char* doing);
/// Throws error (input_output) with the library's innermost reason when `answer` is negative; else returns it.
template <class T> T hdf5_checked(T answer, const char* doing)
{
    if (answer < 0) {
        throw_hdf5_error(doing);
    }
    return answer;
}

/// To be called before anything else of the library, as often as one likes. It writes no messages of its own then, and
/// does nothing when the program ends: it would end in a crash after files that could not be written. Files that are
/// closed are whole without.
void prepare_hdf5();

/// Strings of any length in UTF-8.
hdf5_type hdf5_text_type();
/// Type of elements in memory, and (little-endian) in files.
hdf5_type hdf5_memory_type(element type);
hdf5_type hdf5_file_type(element type);

void set_text_attribute(hid_t object, const char* name, std::string_view text);
void set_real_attribute(hid_t object, const char* name, double value);
void set_integer_attribute(hid_t object, const char* name, std::int64_t value);
/// Empty when there is none.
std::string text_attribute(hid_t object, const char* name);

} // namespace trox_export

#endif
