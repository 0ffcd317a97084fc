#include "hdf5_handles.h"

#include "base/utf8.h"
#include "trox/error.h"

#include <algorithm>
#include <cstdlib>

namespace trox_export
{
namespace
{

herr_t take_reason(unsigned depth, const H5E_error2_t* entry, void* user)
{
    // Upward, the first entry is the cause.
    if (depth == 0 && entry->desc != nullptr) {
        *static_cast<std::string*>(user) = entry->desc;
    }
    return 0;
}

void set_attribute(hid_t object, const char* name, hid_t file_type, hid_t memory_type, const void* value)
{
    const hdf5_space space(hdf5_checked(H5Screate(H5S_SCALAR), "making an attribute"));
    const hdf5_attribute attribute(hdf5_checked(
        H5Acreate2(object, name, file_type, space.get(), H5P_DEFAULT, H5P_DEFAULT), "making an attribute"));
    hdf5_checked(H5Awrite(attribute.get(), memory_type, value), "writing an attribute");
}

} // namespace

void throw_hdf5_error(const char* doing)
{
    std::string reason;
    H5Ewalk2(H5E_DEFAULT, H5E_WALK_UPWARD, take_reason, &reason);
    // Where the operating system refused, its words are in the middle of much that nobody wants to know.
    constexpr std::string_view before = "error message = '";
    if (const std::size_t begin = reason.find(before); begin != std::string::npos) {
        reason.erase(0, begin + before.size());
        reason.erase(std::min(reason.find('\''), reason.size()));
    }
    throw trox::error(trox::fault::input_output, std::string("HDF5: ") + doing + ": " + reason);
}

void prepare_hdf5()
{
    H5dont_atexit(); // fails the second time, and may
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
}

hdf5_type hdf5_text_type()
{
    hdf5_type type(hdf5_checked(H5Tcopy(H5T_C_S1), "making a type"));
    hdf5_checked(H5Tset_size(type.get(), H5T_VARIABLE), "making a type");
    hdf5_checked(H5Tset_cset(type.get(), H5T_CSET_UTF8), "making a type");
    return type;
}

hdf5_type hdf5_memory_type(element type)
{
    const auto copy = [](hid_t known) { return hdf5_type(hdf5_checked(H5Tcopy(known), "making a type")); };
    switch (type) {
    case element::u8:
        return copy(H5T_NATIVE_UINT8);
    case element::u16:
        return copy(H5T_NATIVE_UINT16);
    case element::u32:
        return copy(H5T_NATIVE_UINT32);
    case element::u64:
        return copy(H5T_NATIVE_UINT64);
    case element::i32:
        return copy(H5T_NATIVE_INT32);
    case element::f32:
        return copy(H5T_NATIVE_FLOAT);
    case element::f64:
        return copy(H5T_NATIVE_DOUBLE);
    case element::time:
        return copy(H5T_NATIVE_INT64);
    case element::text:
        return hdf5_text_type();
    }
    return {};
}

hdf5_type hdf5_file_type(element type)
{
    hdf5_type result = hdf5_memory_type(type);
    if (type != element::text) {
        hdf5_checked(H5Tset_order(result.get(), H5T_ORDER_LE), "making a type");
    }
    return result;
}

void set_text_attribute(hid_t object, const char* name, std::string_view text)
{
    const std::string valid = trox_base::valid_utf8(text);
    const char* const value = valid.c_str();
    const hdf5_type type = hdf5_text_type();
    set_attribute(object, name, type.get(), type.get(), &value);
}

void set_real_attribute(hid_t object, const char* name, double value)
{
    set_attribute(object, name, H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE, &value);
}

void set_integer_attribute(hid_t object, const char* name, std::int64_t value)
{
    set_attribute(object, name, H5T_STD_I64LE, H5T_NATIVE_INT64, &value);
}

std::string text_attribute(hid_t object, const char* name)
{
    if (H5Aexists(object, name) <= 0) {
        return {};
    }
    const hdf5_attribute attribute(hdf5_checked(H5Aopen(object, name, H5P_DEFAULT), "reading an attribute"));
    const hdf5_type type = hdf5_text_type();
    char* text = nullptr;
    hdf5_checked(H5Aread(attribute.get(), type.get(), &text), "reading an attribute");
    const std::string result = text == nullptr ? "" : text;
    H5free_memory(text);
    return result;
}

} // namespace trox_export
