// Where the text formats go: a file, or whoever takes the text.
#ifndef TROX_EXPORT_TEXT_OUTPUT_H
#define TROX_EXPORT_TEXT_OUTPUT_H

#include "atomic_file.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace trox_export
{

class text_output
{
public:
    /// Throws error (input_output).
    static text_output to_file(const std::string& path)
    {
        text_output output;
        output.file_ = open_file(path, "wb");
        output.path_ = path;
        return output;
    }
    static text_output to(std::function<void(std::string_view)> take)
    {
        text_output output;
        output.take_ = std::move(take);
        return output;
    }

    void write(std::string_view text)
    {
        if (file_) {
            write_bytes(file_.get(), text.data(), text.size(), path_);
        } else {
            take_(text);
        }
    }
    void finish()
    {
        if (file_) {
            close_file(std::move(file_), path_);
        }
    }

private:
    text_output() = default;
    std::string path_;
    file_handle file_;
    std::function<void(std::string_view)> take_;
};

/// Reads a text file line by line.
class line_input
{
public:
    /// Throws error (input_output).
    explicit line_input(const std::string& path) : path_(path), file_(open_file(path, "rb")) {}
    ~line_input()
    {
        std::free(line_);
    }
    line_input(const line_input&) = delete;
    line_input& operator=(const line_input&) = delete;

    /// False behind the last. The line is without its end, and valid until the next call.
    bool next(std::string_view& line)
    {
        const auto size = ::getline(&line_, &room_, file_.get());
        if (size < 0) {
            if (std::ferror(file_.get()) != 0) {
                throw_system_error("cannot be read", path_);
            }
            return false;
        }
        line = {line_, static_cast<std::size_t>(size)};
        if (line.ends_with('\n')) {
            line.remove_suffix(1);
        }
        return true;
    }

private:
    std::string path_;
    file_handle file_;
    char* line_ = nullptr;
    std::size_t room_ = 0;
};

} // namespace trox_export

#endif
