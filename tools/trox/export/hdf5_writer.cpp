#include "hdf5.h"

#include "hdf5_handles.h"
#include "hdf5_names.h"
#include "trox/error.h"

#include <algorithm>
#include <cstring>

namespace trox_export
{
namespace
{

constexpr std::size_t most_rank = 3;
using extent = std::array<hsize_t, most_rank>;

int rank_of(layout form)
{
    switch (form) {
    case layout::scalar:
        return 1;
    case layout::vector:
        return 2;
    case layout::matrix:
        return 3;
    }
    return 1;
}

/// Rows, lines and elements as dimensions.
extent dimensions(layout form, hsize_t rows, hsize_t lines, hsize_t elements)
{
    return form == layout::matrix ? extent{rows, lines, elements} : extent{rows, elements, 0};
}

/// Calls what writes; errors name the file and the channel.
template <class Call> void naming(const std::string& path, const std::string& channel, const Call& call)
{
    try {
        call();
    } catch (const trox::error& reason) {
        throw trox::error(reason.why(), reason.reason(), {path, channel, {}, {}});
    }
}

/// What a column's dataset is told beside its rows.
struct column_place {
    hid_t group = H5I_INVALID_HID;
    std::string path{};    ///< of the file
    std::string channel{}; ///< empty for columns of the events
    std::string unit{};
    int compression = 0;
    std::size_t budget = 0; ///< bytes of rows that are not yet written; but one row is always held
};

/// A dataset that grows with the events. Whole chunks are written at once where the budget lets them, so that none is
/// compressed twice.
class hdf5_column final : public column_sink
{
public:
    hdf5_column(column_place place, const column& what)
        : place_(std::move(place)), what_(what), type_(hdf5_memory_type(what.type))
    {
    }

    void put(std::uint64_t event, const row& what) override
    {
        naming(place_.path, place_.channel, [&] { take(event, what); });
    }

    void finish(std::uint64_t events)
    {
        naming(place_.path, place_.channel, [&] {
            if (!dataset_) {
                make_dataset();
            }
            flush();
            buffer_ = {};
            texts_ = {};
            set_extent(events);
        });
    }

private:
    void take(std::uint64_t event, const row& what)
    {
        if (!dataset_) {
            lines_ = what.shape[0];
            elements_ = what.shape[1];
            make_dataset();
            describe_group(what);
        }
        if (what.shape[0] > lines_ || what.shape[1] > elements_) {
            grow(what);
        }
        const bool is_next = count_ != 0 && event / chunk_rows_ == begin_ / chunk_rows_ &&
                             (event - begin_ + 1) * row_size() <= place_.budget;
        if (!is_next) {
            flush();
            begin_ = event;
        }
        while (begin_ + count_ < event) {
            append_fill(lines_ * elements_);
            ++count_;
        }
        append(what);
        ++count_;
        if ((begin_ + count_) % chunk_rows_ == 0) {
            flush();
        }
    }

    /// Chunks that are much smaller than a row would be too many, and hold too many rows.
    void grow(const row& what)
    {
        constexpr std::size_t most_pieces = 4; // of a row
        flush();
        const std::size_t before = std::max<std::size_t>(shape_of_chunks_, 1);
        lines_ = std::max(lines_, what.shape[0]);
        elements_ = std::max(elements_, what.shape[1]);
        if (lines_ * elements_ / before >= most_pieces) {
            remake();
        }
    }

    /// A dataset of the same name with chunks for the rows of now, and all rows from before.
    void remake()
    {
        const hdf5_dataset old = std::move(dataset_);
        const std::uint64_t old_chunk = chunk_rows_;
        extent stored{};
        const hdf5_space space(hdf5_checked(H5Dget_space(old.get()), "reading a dataset"));
        hdf5_checked(H5Sget_simple_extent_dims(space.get(), stored.data(), nullptr), "reading a dataset");
        hdf5_checked(H5Ldelete(place_.group, what_.name.c_str(), H5P_DEFAULT), "making a dataset");
        make_dataset();
        set_extent(stored[0]);
        for (hsize_t begin = 0; begin < stored[0]; begin += old_chunk) {
            extent size = stored;
            size[0] = std::min<hsize_t>(old_chunk, stored[0] - begin);
            if (size[1] != 0 && (rank_of(what_.form) < 3 || size[2] != 0)) {
                copy_rows(old.get(), begin, size);
            }
        }
    }

    void copy_rows(hid_t from, hsize_t begin, const extent& size)
    {
        const int rank = rank_of(what_.form);
        const extent start = dimensions(what_.form, begin, 0, 0);
        const auto select = [&](hid_t dataset) {
            hdf5_space space(hdf5_checked(H5Dget_space(dataset), "copying a dataset"));
            hdf5_checked(H5Sselect_hyperslab(space.get(), H5S_SELECT_SET, start.data(), nullptr, size.data(), nullptr),
                         "copying a dataset");
            return space;
        };
        const hdf5_space memory(hdf5_checked(H5Screate_simple(rank, size.data(), nullptr), "copying a dataset"));
        const hdf5_space source = select(from);
        const hdf5_space target = select(dataset_.get());
        const auto elements = static_cast<std::size_t>(H5Sget_select_npoints(memory.get()));
        const bool is_text = what_.type == element::text;
        std::vector<std::byte> rows(elements * (is_text ? sizeof(char*) : size_of(what_.type)));
        hdf5_checked(H5Dread(from, type_.get(), memory.get(), source.get(), H5P_DEFAULT, rows.data()),
                     "copying a dataset");
        const herr_t done = H5Dwrite(dataset_.get(), type_.get(), memory.get(), target.get(), H5P_DEFAULT, rows.data());
        if (is_text) {
            H5Dvlen_reclaim(type_.get(), memory.get(), H5P_DEFAULT, rows.data());
        }
        hdf5_checked(done, "copying a dataset");
    }

    std::size_t row_size() const
    {
        const std::size_t element = what_.type == element::text ? sizeof(hvl_t) : size_of(what_.type);
        return std::max<std::size_t>(lines_ * elements_ * element, 1);
    }

    void make_dataset()
    {
        constexpr std::size_t most_rows = 1024;
        constexpr hsize_t most_elements = 1 << 18;
        chunk_rows_ = std::clamp<std::size_t>(place_.budget / row_size(), 1, most_rows);
        const hsize_t chunk_elements = std::clamp<hsize_t>(elements_, 1, most_elements);
        const hsize_t chunk_lines =
            std::clamp<hsize_t>(lines_, 1, std::max<hsize_t>(most_elements / chunk_elements, 1));
        shape_of_chunks_ = chunk_lines * chunk_elements;

        const extent chunk = dimensions(what_.form, chunk_rows_, chunk_lines, chunk_elements);
        const extent now = dimensions(what_.form, 0, lines_, elements_);
        const extent most{H5S_UNLIMITED, H5S_UNLIMITED, H5S_UNLIMITED};
        const hdf5_space space(
            hdf5_checked(H5Screate_simple(rank_of(what_.form), now.data(), most.data()), "making a dataset"));
        const hdf5_properties creation = creation_of(chunk);
        const hdf5_properties access(hdf5_checked(H5Pcreate(H5P_DATASET_ACCESS), "making a dataset"));
        hdf5_checked(H5Pset_chunk_cache(access.get(), 1, 0, 1.0), "making a dataset"); // buffer_ is the cache
        const hdf5_type file_type = hdf5_file_type(what_.type);
        dataset_ = hdf5_dataset(hdf5_checked(H5Dcreate2(place_.group, what_.name.c_str(), file_type.get(), space.get(),
                                                        H5P_DEFAULT, creation.get(), access.get()),
                                             "making a dataset"));
        describe();
    }

    hdf5_properties creation_of(const extent& chunk) const
    {
        hdf5_properties creation(hdf5_checked(H5Pcreate(H5P_DATASET_CREATE), "making a dataset"));
        hdf5_checked(H5Pset_chunk(creation.get(), rank_of(what_.form), chunk.data()), "making a dataset");
        if (what_.type != element::text) {
            hdf5_checked(H5Pset_fill_value(creation.get(), type_.get(), fill_of(what_.type)), "making a dataset");
        }
        if (place_.compression > 0) {
            hdf5_checked(H5Pset_shuffle(creation.get()), "making a dataset");
            hdf5_checked(H5Pset_deflate(creation.get(), static_cast<unsigned>(place_.compression)), "making a dataset");
        }
        if (what_.type != element::text) { // the library refuses checksums of texts
            hdf5_checked(H5Pset_fletcher32(creation.get()), "making a dataset");
        }
        return creation;
    }

    void describe() const
    {
        if (what_.type == element::time) {
            set_text_attribute(dataset_.get(), "unit", "microseconds since 1970-01-01T00:00:00Z");
        } else if (what_.use == role::value && !place_.unit.empty()) {
            set_text_attribute(dataset_.get(), "unit", place_.unit);
        }
        if (what_.row_name == "axis") {
            set_text_attribute(dataset_.get(), "fields", "start increment group_increment groups");
        } else if (what_.row_name == "present") {
            set_text_attribute(dataset_.get(), "values", "0 missing, 1 recorded, 2 carried from an earlier event");
        }
    }

    void describe_group(const row& first) const
    {
        if (what_.row_name != "axis") {
            return;
        }
        constexpr const char* names[] = {"axis_start", "axis_increment", "axis_group_increment", "axis_groups"};
        for (std::size_t i = 0; i < std::min(std::size(names), first.count()); ++i) {
            set_real_attribute(place_.group, names[i], element_at<double>(first, i));
        }
    }

    void append_fill(std::size_t count)
    {
        if (what_.type == element::text) {
            texts_.resize(texts_.size() + count);
            return;
        }
        const std::size_t size = size_of(what_.type);
        const std::byte* const fill = fill_of(what_.type);
        for (std::size_t i = 0; i < count; ++i) {
            buffer_.insert(buffer_.end(), fill, fill + size);
        }
    }

    void append(const row& what)
    {
        const std::size_t size = size_of(what_.type);
        for (std::size_t line = 0; line < what.shape[0]; ++line) {
            if (what_.type == element::text) {
                texts_.insert(texts_.end(), what.texts + line * what.shape[1], what.texts + (line + 1) * what.shape[1]);
            } else {
                const std::byte* const data = what.data + line * what.shape[1] * size;
                buffer_.insert(buffer_.end(), data, data + what.shape[1] * size);
            }
            append_fill(elements_ - what.shape[1]);
        }
        append_fill((lines_ - what.shape[0]) * elements_);
    }

    void set_extent(hsize_t rows)
    {
        const extent now = dimensions(what_.form, rows, lines_, elements_);
        hdf5_checked(H5Dset_extent(dataset_.get(), now.data()), "extending a dataset");
    }

    void flush()
    {
        if (count_ == 0) {
            return;
        }
        set_extent(begin_ + count_);
        if (lines_ * elements_ != 0) {
            write();
        }
        buffer_.clear();
        texts_.clear();
        begin_ += count_;
        count_ = 0;
    }

    void write() const
    {
        const int rank = rank_of(what_.form);
        const extent start = dimensions(what_.form, begin_, 0, 0);
        const extent size = dimensions(what_.form, count_, lines_, elements_);
        const hdf5_space file(hdf5_checked(H5Dget_space(dataset_.get()), "writing a dataset"));
        hdf5_checked(H5Sselect_hyperslab(file.get(), H5S_SELECT_SET, start.data(), nullptr, size.data(), nullptr),
                     "writing a dataset");
        const hdf5_space memory(hdf5_checked(H5Screate_simple(rank, size.data(), nullptr), "writing a dataset"));
        std::vector<const char*> pointers;
        for (const std::string& text : texts_) {
            pointers.push_back(text.c_str());
        }
        const void* const data = what_.type == element::text ? static_cast<const void*>(pointers.data())
                                                             : static_cast<const void*>(buffer_.data());
        hdf5_checked(H5Dwrite(dataset_.get(), type_.get(), memory.get(), file.get(), H5P_DEFAULT, data),
                     "writing a dataset");
    }

    column_place place_;
    column what_;
    hdf5_type type_;
    hdf5_dataset dataset_;
    std::size_t chunk_rows_ = 1;
    std::size_t shape_of_chunks_ = 1; // elements of a row in one chunk
    std::size_t lines_ = 1;
    std::size_t elements_ = 1;
    std::uint64_t begin_ = 0; // first row that is not yet written
    std::uint64_t count_ = 0; // of such rows
    std::vector<std::byte> buffer_;
    std::vector<std::string> texts_;
};

class hdf5_target final : public table_target
{
public:
    hdf5_target(std::vector<channel_head> channels, hdf5_setting setting)
        : channels_(std::move(channels)), setting_(std::move(setting)), groups_(channels_.size())
    {
        prepare_hdf5();
        naming(setting_.path, {}, [&] {
            file_ = hdf5_file(hdf5_checked(H5Fcreate(setting_.path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT),
                                           "making the file"));
            set_text_attribute(file_.get(), "format", hdf5_format_name);
            set_integer_attribute(file_.get(), "format_version", hdf5_format_version);
        });
        const auto paths = hdf5_group_paths(channels_);
        for (std::size_t i = 0; i < channels_.size(); ++i) {
            naming(setting_.path, channels_[i].name, [&] { make_group(i, paths[i]); });
        }
    }

    std::unique_ptr<column_sink> make_column(const column& what) override
    {
        const bool is_event = what.channel == channels_.size();
        column_place place{file_.get(), setting_.path,        {},
                           {},          setting_.compression, column_budget(setting_.budget, channels_.size())};
        if (!is_event) {
            place.group = groups_[what.channel].get();
            place.channel = channels_[what.channel].name;
            place.unit = channels_[what.channel].unit;
        }
        auto made = std::make_unique<hdf5_column>(std::move(place), what);
        columns_.push_back(made.get());
        return made;
    }

    void finish(std::uint64_t events) override
    {
        for (hdf5_column* const column : columns_) {
            column->finish(events);
        }
        naming(setting_.path, {}, [&] { hdf5_checked(H5Fflush(file_.get(), H5F_SCOPE_GLOBAL), "writing the file"); });
    }

private:
    void make_group(std::size_t channel, const std::string& path)
    {
        const channel_head& head = channels_[channel];
        const hdf5_properties links(hdf5_checked(H5Pcreate(H5P_LINK_CREATE), "making a group"));
        hdf5_checked(H5Pset_create_intermediate_group(links.get(), 1), "making a group");
        hdf5_group group(hdf5_checked(H5Gcreate2(file_.get(), path.c_str(), links.get(), H5P_DEFAULT, H5P_DEFAULT),
                                      "making a group"));
        for (const auto& [name, value] : {std::pair{"name", &head.name},
                                          {"kind", &head.kind},
                                          {"unit", &head.unit},
                                          {"description", &head.description},
                                          {"property", &head.property},
                                          {"server", &head.server},
                                          {"subsystem", &head.subsystem}}) {
            set_text_attribute(group.get(), name, *value);
        }
        groups_[channel] = std::move(group);
    }

    std::vector<channel_head> channels_;
    hdf5_setting setting_;
    hdf5_file file_;
    std::vector<hdf5_group> groups_;
    std::vector<hdf5_column*> columns_; // the table's writer owns them until the end
};

} // namespace

std::unique_ptr<table_target> make_hdf5_target(std::vector<channel_head> channels, hdf5_setting setting)
{
    return std::make_unique<hdf5_target>(std::move(channels), std::move(setting));
}

} // namespace trox_export
