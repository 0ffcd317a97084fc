#include "hdf5.h"

#include "hdf5_handles.h"
#include "hdf5_names.h"
#include "trox/error.h"

#include <algorithm>

namespace trox_export
{
namespace
{

/// Reads a dataset chunk by chunk.
class dataset_reader final : public column_source
{
public:
    dataset_reader(hid_t group, const column& what) : what_(what), type_(hdf5_memory_type(what.type))
    {
        const hdf5_properties access(hdf5_checked(H5Pcreate(H5P_DATASET_ACCESS), "opening a dataset"));
        hdf5_checked(H5Pset_chunk_cache(access.get(), 1, 0, 1.0), "opening a dataset"); // read once
        dataset_ = hdf5_dataset(H5Dopen2(group, what.name.c_str(), access.get()));
        if (!dataset_) {
            throw difference(what.name + " is missing");
        }
        load_shape();
        const hdf5_type stored(hdf5_checked(H5Dget_type(dataset_.get()), "opening a dataset"));
        const hdf5_type expected = hdf5_file_type(what.type);
        if (H5Tequal(stored.get(), expected.get()) <= 0) {
            throw difference(what.name + " has another type");
        }
    }
    ~dataset_reader() override
    {
        release_texts();
    }
    bool next() override
    {
        if (done_ == rows_) {
            return false;
        }
        if (done_ == loaded_) {
            load();
        }
        present_ = done_ - (loaded_ - held_);
        ++done_;
        if (what_.type == element::text) {
            for (std::size_t i = 0; i < views_.size(); ++i) {
                const char* const text = pointers_[present_ * views_.size() + i];
                views_[i] = text == nullptr ? std::string_view() : std::string_view(text);
            }
        }
        return true;
    }
    std::array<std::size_t, 2> shape() const override
    {
        return shape_;
    }
    const std::byte* data() const override
    {
        return buffer_.data() + present_ * row_elements() * size_of(what_.type);
    }
    const std::string_view* texts() const override
    {
        return views_.data();
    }

private:
    std::size_t row_elements() const
    {
        return shape_[0] * shape_[1];
    }
    void load_shape()
    {
        const hdf5_space space(hdf5_checked(H5Dget_space(dataset_.get()), "opening a dataset"));
        rank_ = what_.form == layout::scalar ? 1 : what_.form == layout::vector ? 2 : 3;
        if (H5Sget_simple_extent_ndims(space.get()) != rank_) {
            throw difference(what_.name + " has another number of dimensions");
        }
        std::array<hsize_t, 3> size{};
        hdf5_checked(H5Sget_simple_extent_dims(space.get(), size.data(), nullptr), "opening a dataset");
        rows_ = size[0];
        shape_ = {rank_ == 3 ? size[1] : 1, rank_ == 1 ? 1 : size[static_cast<std::size_t>(rank_) - 1]};
        const hdf5_properties creation(hdf5_checked(H5Dget_create_plist(dataset_.get()), "opening a dataset"));
        std::array<hsize_t, 3> chunk{};
        hdf5_checked(H5Pget_chunk(creation.get(), rank_, chunk.data()), "opening a dataset");
        chunk_rows_ = chunk[0];
        views_.resize(what_.type == element::text ? row_elements() : 0);
    }
    void load()
    {
        held_ = std::min<std::uint64_t>(chunk_rows_, rows_ - loaded_);
        const std::size_t elements = held_ * row_elements();
        if (elements != 0) {
            read(elements);
        }
        loaded_ += held_;
    }
    void read(std::size_t elements)
    {
        std::array<hsize_t, 3> start{loaded_, 0, 0};
        std::array<hsize_t, 3> size{held_, rank_ == 3 ? shape_[0] : shape_[1], shape_[1]};
        const hdf5_space file(hdf5_checked(H5Dget_space(dataset_.get()), "reading a dataset"));
        hdf5_checked(H5Sselect_hyperslab(file.get(), H5S_SELECT_SET, start.data(), nullptr, size.data(), nullptr),
                     "reading a dataset");
        const hdf5_space memory(hdf5_checked(H5Screate_simple(rank_, size.data(), nullptr), "reading a dataset"));
        void* place = nullptr;
        if (what_.type == element::text) {
            release_texts();
            pointers_.assign(elements, nullptr);
            place = pointers_.data();
        } else {
            buffer_.resize(elements * size_of(what_.type));
            place = buffer_.data();
        }
        hdf5_checked(H5Dread(dataset_.get(), type_.get(), memory.get(), file.get(), H5P_DEFAULT, place),
                     "reading a dataset");
    }
    void release_texts() noexcept
    {
        for (char* const text : pointers_) {
            H5free_memory(text);
        }
        pointers_.clear();
    }

    column what_;
    hdf5_type type_;
    hdf5_dataset dataset_;
    int rank_ = 1;
    std::uint64_t rows_ = 0;
    std::array<std::size_t, 2> shape_{1, 1};
    std::uint64_t chunk_rows_ = 1;
    std::uint64_t loaded_ = 0;  // rows read from the file
    std::uint64_t held_ = 0;    // the last of them, which are in memory
    std::uint64_t done_ = 0;    // rows delivered
    std::uint64_t present_ = 0; // the last one of them among those in memory
    std::vector<std::byte> buffer_;
    std::vector<char*> pointers_;
    std::vector<std::string_view> views_;
};

herr_t count_dataset(hid_t, const char*, const H5O_info_t* info, void* user)
{
    *static_cast<std::size_t*>(user) += info->type == H5O_TYPE_DATASET ? 1 : 0;
    return 0;
}

class hdf5_source final : public table_source
{
public:
    hdf5_source(std::vector<channel_head> channels, const std::string& path)
        : channels_(std::move(channels)), paths_(hdf5_group_paths(channels_)), groups_(channels_.size())
    {
        prepare_hdf5();
        file_ = hdf5_file(hdf5_checked(H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT), "opening the file"));
    }
    std::unique_ptr<column_source> open_column(const column& what) override
    {
        if (what.channel == channels_.size()) {
            return std::make_unique<dataset_reader>(file_.get(), what);
        }
        if (!groups_[what.channel]) {
            groups_[what.channel] = open_group(what.channel);
        }
        return std::make_unique<dataset_reader>(groups_[what.channel].get(), what);
    }
    std::size_t columns() override
    {
        std::size_t count = 0;
        hdf5_checked(H5Ovisit2(file_.get(), H5_INDEX_NAME, H5_ITER_NATIVE, count_dataset, &count, H5O_INFO_BASIC),
                     "looking at the file");
        return count;
    }

private:
    hdf5_group open_group(std::size_t channel) const
    {
        const std::string& name = channels_[channel].name;
        hdf5_group group(H5Gopen2(file_.get(), paths_[channel].c_str(), H5P_DEFAULT));
        if (!group || text_attribute(group.get(), "name") != name) {
            throw difference("there is no group of " + name);
        }
        return group;
    }

    std::vector<channel_head> channels_;
    std::vector<std::string> paths_;
    hdf5_file file_;
    std::vector<hdf5_group> groups_;
};

} // namespace

std::unique_ptr<table_source> make_hdf5_source(std::vector<channel_head> channels, const std::string& path)
{
    return std::make_unique<hdf5_source>(std::move(channels), path);
}

} // namespace trox_export
