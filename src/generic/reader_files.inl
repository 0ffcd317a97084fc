// Reader: the list of data files.
#ifndef TROX_GENERIC_READER_FILES_INL
#define TROX_GENERIC_READER_FILES_INL

#include "generic/reader_settings.inl"

namespace trox_detail
{

template <class Generation> int basic_reader<Generation>::add_file(const char* name, bool at_end)
try {
    return put_file(name, at_end);
} catch (const std::bad_alloc&) {
    return no_memory();
}

/// `add_file` for the reader's own operations, which answer a lack of memory themselves.
template <class Generation> int basic_reader<Generation>::put_file(const char* name, bool at_end)
{
    if (name == nullptr || *name == '\0') {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    if (is_running()) {
        return set_error(TROX_DAQ_READER_NOT_ALLOWED);
    }
    const std::string_view given(name);
    const std::string& directory = request_.ddir;
    const bool has_path = given.find('/') != std::string_view::npos;
    const bool is_directory_list = directory.find(':') != std::string::npos;
    const bool is_taken_unchanged = directory.empty() || has_path;
    const bool is_put_in_directory = !is_taken_unchanged && !is_directory_list;

    const malloc_text candidate = is_put_in_directory ? join_texts({directory, given}) : join_texts({given});
    if (!candidate) {
        print<reader_texts<Generation>, reader_message::no_candidate_memory>(name);
        files_.clear();
        return set_error(TROX_DAQ_READER_INTERN_ERROR);
    }
    const bool is_checked_directly = has_path || is_put_in_directory;
    return set_error(is_checked_directly ? add_direct_file(candidate.get(), at_end)
                                         : add_file_from_path_list(candidate.get(), at_end));
}

template <class Generation> int basic_reader<Generation>::insert_file(const char* path, bool at_end)
{
    files_.emplace(at_end ? files_.end() : files_.begin(), path);
    return TROX_DAQ_READER_OK;
}

template <class Generation> int basic_reader<Generation>::add_direct_file(const char* path, bool at_end)
{
    const bool is_accepted = are_files_taken_unseen() || accepts_file(path);
    return is_accepted ? insert_file(path, at_end) : TROX_DAQ_READER_FILES_NOT_FOUND;
}

/// True for a file that is closed; else tells why not.
template <class Generation> bool basic_reader<Generation>::accepts_file(const char* path) const
{
    const file_state state = look_at_file(path);
    if (state == file_state::closed) {
        return true;
    }
    if (debug_ > 0) {
        print<reader_texts<Generation>, reader_message::file_not_found>(path);
    }
    if (state == file_state::not_closed) {
        print<reader_texts<Generation>, reader_message::file_not_closed>(path);
    }
    return false;
}

template <class Generation> int basic_reader<Generation>::add_file_from_path_list(const char* name, bool at_end)
{
    const std::string list = search_list(name);
    const bool is_unseen = are_files_taken_unseen();
    malloc_text taken;
    for (const std::string& directory : split_path_list(list)) {
        malloc_text path = join_texts({directory, "/", name});
        if (!path) {
            const std::size_t length = directory.size() + std::strlen(name) + 1;
            print<reader_texts<Generation>, reader_message::no_path_memory>(static_cast<int>(length));
            return TROX_DAQ_READER_INTERN_ERROR;
        }
        if (is_unseen) {
            taken = std::move(path); // without a look the search goes on, so that the last directory is taken
        } else if (accepts_file(path.get())) {
            taken = std::move(path);
            break;
        }
    }
    if (taken) {
        return insert_file(taken.get(), at_end);
    }
    if (debug_ != 0) {
        print<reader_texts<Generation>, reader_message::not_in_path_list>(name, list.c_str());
    }
    return TROX_DAQ_READER_FILES_NOT_FOUND;
}

/// The directories to search: a list in the data directory as it stands, the data path list, the archive.
template <class Generation> std::string basic_reader<Generation>::search_list(const char* name) const
{
    std::string list = data_path_list_;
    const std::string archive = archive_directory(request_.exp_name, name);
    if (!archive.empty()) {
        list += ':';
        list += archive;
    }
    if (request_.ddir.find(':') != std::string::npos) {
        list.insert(0, request_.ddir); // no separator between: a caller ends its list with ":"
    }
    return list;
}

template <class Generation> int basic_reader<Generation>::remove_file(const std::string& name)
{
    if (name.empty()) {
        return set_error(TROX_DAQ_READER_INV_PARAM);
    }
    if (is_running()) {
        return set_error(TROX_DAQ_READER_NOT_ALLOWED);
    }
    const auto found = std::find(files_.begin(), files_.end(), name);
    if (found == files_.end()) {
        return set_error(TROX_DAQ_READER_FILES_NOT_FOUND);
    }
    files_.erase(found);
    return set_error(TROX_DAQ_READER_OK);
}

template <class Generation> int basic_reader<Generation>::remove_file(const char* name)
try {
    return name == nullptr ? set_error(TROX_DAQ_READER_INV_PARAM) : remove_file(std::string(name));
} catch (const std::bad_alloc&) {
    return no_memory();
}

template <class Generation> void basic_reader<Generation>::sort_my_files()
{
    sort_files(files_);
    files_.erase(std::unique(files_.begin(), files_.end()), files_.end());
}

} // namespace trox_detail

#endif
