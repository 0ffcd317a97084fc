#include "npz.h"

#include "atomic_file.h"
#include "npy.h"

#include "trox/error.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <zip.h>

namespace trox_export
{
namespace
{

[[noreturn]] void throw_zip_error(const std::string& reason, const std::string& path)
{
    throw trox::error(trox::fault::input_output, reason, {path, {}, {}, {}});
}

std::string member_name(const std::vector<channel_head>& channels, const column& what)
{
    return (what.channel == channels.size() ? what.name : channels[what.channel].name + "/" + what.name) + ".npy";
}

// --- rows on their way into the archive ---------------------------------------------------------------

struct row_mark {
    std::uint64_t event = 0;
    std::uint64_t lines = 0;
    std::uint64_t elements = 0;
};

/// The rows of a column in a file of their own; an archive's members are written one behind the other, and their
/// shapes are known at the end only.
class spool final : public column_sink
{
public:
    spool(std::string path, const column& what, std::size_t budget) : path_(std::move(path)), budget_(budget)
    {
        array_.type = what.type;
        array_.form = what.form;
        array_.shape =
            what.form == layout::scalar ? std::array<std::size_t, 2>{1, 1} : std::array<std::size_t, 2>{0, 0};
        array_.text_size = 1; // there are no texts of no bytes
    }
    void put(std::uint64_t event, const row& what) override
    {
        const row_mark mark{event, what.shape[0], what.shape[1]};
        append(&mark, sizeof mark);
        array_.shape = {std::max(array_.shape[0], what.shape[0]), std::max(array_.shape[1], what.shape[1])};
        if (what.type != element::text) {
            append(what.data, what.bytes());
            return;
        }
        for (std::size_t i = 0; i < what.count(); ++i) {
            const std::uint64_t size = what.texts[i].size();
            append(&size, sizeof size);
            append(what.texts[i].data(), what.texts[i].size());
            array_.text_size = std::max(array_.text_size, what.texts[i].size());
        }
    }
    void flush()
    {
        if (!buffer_.empty()) {
            write(buffer_.data(), buffer_.size());
        }
        buffer_.clear();
    }
    /// The file is there then, also without a row.
    void finish()
    {
        write(buffer_.data(), buffer_.size());
        buffer_ = {};
    }
    const std::string& path() const noexcept
    {
        return path_;
    }
    /// All but the number of rows.
    const npy_array& array() const noexcept
    {
        return array_;
    }

private:
    void append(const void* data, std::size_t size)
    {
        if (size > budget_ - std::min(buffer_.size(), budget_)) {
            flush();
        }
        if (size > budget_) {
            write(data, size);
        } else {
            const auto* bytes = static_cast<const char*>(data);
            buffer_.insert(buffer_.end(), bytes, bytes + size);
        }
    }
    /// Opened every time: there may be more columns than a process may have open files.
    void write(const void* data, std::size_t size)
    {
        auto file = open_file(path_, "ab");
        write_bytes(file.get(), data, size, path_);
        close_file(std::move(file), path_);
    }

    std::string path_;
    std::size_t budget_;
    npy_array array_;
    std::vector<char> buffer_;
};

/// A spool as the bytes of an array file.
class npy_stream
{
public:
    npy_stream(std::string path, const npy_array& array) : path_(std::move(path)), array_(array) {}

    std::uint64_t size() const
    {
        return npy_head(array_).size() + array_.rows * row_size(array_);
    }
    void open()
    {
        file_ = open_file(path_, "rb");
        const std::string head = npy_head(array_);
        pending_.assign(head.begin(), head.end());
        taken_ = 0;
        rows_done_ = 0;
        load_mark();
    }
    std::size_t read(char* place, std::size_t room)
    {
        std::size_t done = 0;
        while (done < room) {
            if (taken_ == pending_.size() && !make_row()) {
                break;
            }
            const std::size_t size = std::min(room - done, pending_.size() - taken_);
            std::memcpy(place + done, pending_.data() + taken_, size);
            taken_ += size;
            done += size;
        }
        return done;
    }
    void close() noexcept
    {
        file_.reset();
        pending_ = {};
    }

private:
    void load(void* place, std::size_t size)
    {
        if (size != 0 && std::fread(place, 1, size, file_.get()) != size) {
            throw_zip_error("ends too early", path_);
        }
    }
    void load_mark()
    {
        const int next = std::fgetc(file_.get());
        has_mark_ = next != EOF;
        if (has_mark_) {
            std::ungetc(next, file_.get());
            load(&mark_, sizeof mark_);
        }
    }
    bool make_row()
    {
        if (rows_done_ == array_.rows) {
            return false;
        }
        const std::size_t size = element_size(array_);
        pending_.resize(row_size(array_));
        taken_ = 0;
        for (std::size_t i = 0; i < pending_.size(); i += size) {
            fill(pending_.data() + i, size);
        }
        if (has_mark_ && mark_.event == rows_done_) {
            for (std::size_t line = 0; line < mark_.lines; ++line) {
                load_line(pending_.data() + line * array_.shape[1] * size);
            }
            load_mark();
        }
        ++rows_done_;
        return true;
    }
    void fill(char* place, std::size_t size) const
    {
        if (array_.type == element::text) {
            std::memset(place, 0, size);
        } else {
            std::memcpy(place, fill_of(array_.type), size);
        }
    }
    void load_line(char* place)
    {
        if (array_.type != element::text) {
            load(place, mark_.elements * size_of(array_.type));
            return;
        }
        for (std::size_t i = 0; i < mark_.elements; ++i) {
            std::uint64_t size = 0;
            load(&size, sizeof size);
            load(place + i * array_.text_size, size);
        }
    }

    std::string path_;
    npy_array array_;
    file_handle file_;
    std::vector<char> pending_;
    std::size_t taken_ = 0;
    std::uint64_t rows_done_ = 0;
    row_mark mark_;
    bool has_mark_ = false;
};

/// What libzip calls for the bytes of a member. No exception may pass through it.
struct member_state {
    npy_stream stream;
    const std::function<void()>* check;
    std::exception_ptr* failure;
    zip_error_t error{};
};

zip_int64_t answer(member_state& state, void* data, zip_uint64_t length, zip_source_cmd_t command)
{
    switch (static_cast<int>(command)) { // most have no meaning for what is only read
    case ZIP_SOURCE_OPEN:
        state.stream.open();
        return 0;
    case ZIP_SOURCE_READ:
        if (*state.check) {
            (*state.check)();
        }
        return static_cast<zip_int64_t>(state.stream.read(static_cast<char*>(data), length));
    case ZIP_SOURCE_CLOSE:
        state.stream.close();
        return 0;
    case ZIP_SOURCE_STAT: {
        auto* const stat = static_cast<zip_stat_t*>(data);
        zip_stat_init(stat);
        stat->size = state.stream.size();
        stat->valid = ZIP_STAT_SIZE;
        return sizeof(zip_stat_t);
    }
    case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&state.error, data, length);
    case ZIP_SOURCE_SUPPORTS:
        return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE, ZIP_SOURCE_STAT,
                                              ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, -1);
    }
    zip_error_set(&state.error, ZIP_ER_OPNOTSUPP, 0);
    return -1;
}

zip_int64_t member_source(void* user, void* data, zip_uint64_t length, zip_source_cmd_t command)
{
    auto* const state = static_cast<member_state*>(user);
    if (command == ZIP_SOURCE_FREE) {
        delete state;
        return 0;
    }
    try {
        return answer(*state, data, length, command);
    } catch (...) {
        *state->failure = std::current_exception();
        zip_error_set(&state->error, ZIP_ER_READ, 0);
        return -1;
    }
}

struct archive_discarder {
    void operator()(zip_t* archive) const noexcept
    {
        zip_discard(archive);
    }
};
using archive_handle = std::unique_ptr<zip_t, archive_discarder>;

archive_handle open_archive(const std::string& path, int flags)
{
    int code = 0;
    archive_handle archive(zip_open(path.c_str(), flags, &code));
    if (!archive) {
        zip_error_t error;
        zip_error_init_with_code(&error, code);
        const std::string reason = zip_error_strerror(&error);
        zip_error_fini(&error);
        throw_zip_error(reason, path);
    }
    return archive;
}

class npz_target final : public table_target
{
public:
    npz_target(std::vector<channel_head> channels, npz_setting setting)
        : channels_(std::move(channels)), setting_(std::move(setting))
    {
    }
    std::unique_ptr<column_sink> make_column(const column& what) override
    {
        auto made = std::make_unique<spool>(setting_.scratch + "/" + std::to_string(members_.size()), what,
                                            column_budget(setting_.budget, channels_.size()));
        members_.push_back({member_name(channels_, what), made.get()});
        return made;
    }
    void finish(std::uint64_t events) override
    {
        std::exception_ptr failure;
        archive_handle archive = open_archive(setting_.path, ZIP_CREATE | ZIP_TRUNCATE);
        for (const auto& [name, rows] : members_) {
            rows->finish();
            npy_array array = rows->array();
            array.rows = events;
            add_member(archive.get(), name, {npy_stream(rows->path(), array), &setting_.check, &failure});
        }
        if (zip_close(archive.get()) != 0) {
            if (failure) {
                std::rethrow_exception(failure);
            }
            throw_zip_error(zip_strerror(archive.get()), setting_.path);
        }
        static_cast<void>(archive.release());
    }

private:
    struct member {
        std::string name;
        spool* rows; // the table's writer owns it, and lives longer
    };

    void add_member(zip_t* archive, const std::string& name, member_state state)
    {
        auto owned = std::make_unique<member_state>(std::move(state));
        zip_error_init(&owned->error);
        zip_source_t* const source = zip_source_function(archive, member_source, owned.get());
        if (source == nullptr) {
            throw_zip_error(zip_strerror(archive), setting_.path);
        }
        static_cast<void>(owned.release()); // the source's now
        const zip_int64_t index = zip_file_add(archive, name.c_str(), source, 0);
        if (index < 0) {
            zip_source_free(source);
            throw_zip_error(name + ": " + zip_strerror(archive), setting_.path);
        }
        const auto place = static_cast<zip_uint64_t>(index);
        const bool is_stored = setting_.compression == 0;
        constexpr zip_uint16_t first_date = (1U << 5U) | 1U; // 1980-01-01: equal data give equal files
        if (zip_set_file_compression(archive, place, is_stored ? ZIP_CM_STORE : ZIP_CM_DEFLATE,
                                     static_cast<zip_uint32_t>(setting_.compression)) != 0 ||
            zip_file_set_dostime(archive, place, 0, first_date, 0) != 0) {
            throw_zip_error(zip_strerror(archive), setting_.path);
        }
    }

    std::vector<channel_head> channels_;
    npz_setting setting_;
    std::vector<member> members_;
};

// --- reading back ---------------------------------------------------------------------------------------

struct member_closer {
    void operator()(zip_file_t* file) const noexcept
    {
        zip_fclose(file);
    }
};

class member_reader final : public column_source
{
public:
    member_reader(zip_t* archive, const std::string& name, const column& what)
        : file_(zip_fopen(archive, name.c_str(), 0))
    {
        if (!file_) {
            throw difference(name + " is missing");
        }
        array_.type = what.type;
        array_.form = what.form;
        load_npy_head([this](void* place, std::size_t size) { read(place, size); }, array_);
        check_size(archive, name);
        row_.resize(row_size(array_));
        texts_.resize(array_.type == element::text ? array_.shape[0] * array_.shape[1] : 0);
    }
    bool next() override
    {
        if (done_ == array_.rows) {
            char more = 0;
            return zip_fread(file_.get(), &more, 1) != 0;
        }
        read(row_.data(), row_.size());
        ++done_;
        for (std::size_t i = 0; i < texts_.size(); ++i) {
            const auto* text = reinterpret_cast<const char*>(row_.data()) + i * array_.text_size;
            texts_[i] = {text, ::strnlen(text, array_.text_size)};
        }
        return true;
    }
    std::array<std::size_t, 2> shape() const override
    {
        return array_.shape;
    }
    const std::byte* data() const override
    {
        return row_.data();
    }
    const std::string_view* texts() const override
    {
        return texts_.data();
    }

private:
    /// A row is not larger than the whole member.
    void check_size(zip_t* archive, const std::string& name) const
    {
        zip_stat_t stat;
        zip_stat_init(&stat);
        std::size_t size = 0;
        if (zip_stat(archive, name.c_str(), 0, &stat) != 0 ||
            __builtin_mul_overflow(array_.shape[0], array_.shape[1], &size) ||
            __builtin_mul_overflow(size, element_size(array_), &size) || (array_.rows != 0 && size > stat.size)) {
            throw difference(name + " has a shape that does not fit it");
        }
    }
    void read(void* place, std::size_t size)
    {
        auto* bytes = static_cast<std::byte*>(place);
        while (size != 0) {
            const zip_int64_t got = zip_fread(file_.get(), bytes, size);
            if (got <= 0) {
                throw difference("an array ends too early, or cannot be read");
            }
            bytes += got;
            size -= static_cast<std::size_t>(got);
        }
    }

    std::unique_ptr<zip_file_t, member_closer> file_;
    npy_array array_;
    std::uint64_t done_ = 0;
    std::vector<std::byte> row_;
    std::vector<std::string_view> texts_;
};

class npz_source final : public table_source
{
public:
    npz_source(std::vector<channel_head> channels, const std::string& path)
        : channels_(std::move(channels)), archive_(open_archive(path, ZIP_RDONLY | ZIP_CHECKCONS))
    {
    }
    std::unique_ptr<column_source> open_column(const column& what) override
    {
        return std::make_unique<member_reader>(archive_.get(), member_name(channels_, what), what);
    }
    std::size_t columns() override
    {
        return static_cast<std::size_t>(zip_get_num_entries(archive_.get(), 0));
    }

private:
    std::vector<channel_head> channels_;
    archive_handle archive_;
};

} // namespace

std::unique_ptr<table_target> make_npz_target(std::vector<channel_head> channels, npz_setting setting)
{
    return std::make_unique<npz_target>(std::move(channels), std::move(setting));
}

std::unique_ptr<table_source> make_npz_source(std::vector<channel_head> channels, const std::string& path)
{
    return std::make_unique<npz_source>(std::move(channels), path);
}

} // namespace trox_export
