// Bodies of the slicer: loading the tables of the coming files in a thread, and finding them.
#ifndef TROX_GENERIC_SLICER_TABLES_THREAD_INL
#define TROX_GENERIC_SLICER_TABLES_THREAD_INL

#include "generic/slicer_setup.inl"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <unistd.h>

namespace trox_detail
{

/// Loaded tables that nobody took, at which the thread stops loading ahead.
inline constexpr int tables_ahead = 3;
/// How often a thread that is ahead looks again.
inline constexpr unsigned look_again_us = 10000;

/// The table-loading thread: walks the list of files once, from the first to the last.
template <class G> class table_thread
{
public:
    explicit table_thread(basic_get_tables_task<G>& task) : task_(&task) {}

    /// Ends when it is stopped, or behind the last file; at once and with false after a file that could not be loaded.
    bool run();

private:
    using loader_ptr = std::shared_ptr<typename G::table_loader>;

    loader_ptr* free_slot() const;
    bool ends_before_credit() const;
    bool may_look() const;
    loader_ptr* reserve_slot();
    loader_ptr load() const;
    void store(loader_ptr& slot, loader_ptr loader);
    bool pass_over();
    void end_well();
    bool is_stopped() const
    {
        return task_->stop != 0;
    }

    basic_get_tables_task<G>* task_;
};

template <class G> bool table_thread<G>::run()
{
    while (task_->next < task_->files->size() && !ends_before_credit()) {
        loader_ptr* slot = reserve_slot();
        if (slot == nullptr) {
            if (is_stopped()) {
                break;
            }
            ::usleep(look_again_us);
            continue;
        }
        loader_ptr loader = load();
        if (loader != nullptr) {
            if (!slicer_traits<G>::drops_late_tables || !is_stopped()) {
                store(*slot, std::move(loader));
            }
        } else if (!pass_over()) {
            return false;
        }
    }
    end_well();
    return true;
}

/// A slot without a loader, or null. With `tmx` held; only this thread fills slots.
template <class G> typename table_thread<G>::loader_ptr* table_thread<G>::free_slot() const
{
    loader_ptr* const end = task_->get_tables + task_->get_tables_num;
    loader_ptr* const slot = std::find(task_->get_tables, end, nullptr);
    return slot != end ? slot : nullptr;
}

/// Whether a stop counts that comes without a credit.
template <class G> bool table_thread<G>::ends_before_credit() const
{
    return slicer_traits<G>::stops_without_credit && is_stopped();
}

/// Whether there is a credit, and, where nothing else bounds the thread, also a slot or a stop: that one never polls.
/// With `tmx` held.
template <class G> bool table_thread<G>::may_look() const
{
    return task_->go != 0 && (slicer_traits<G>::bounds_read_ahead || is_stopped() || free_slot() != nullptr);
}

/// Waits for a credit and takes it. Null when the thread is stopped; also, and the credit is left, when it is ahead or
/// all slots are in use.
template <class G> typename table_thread<G>::loader_ptr* table_thread<G>::reserve_slot()
{
    const mutex_holder lock(*task_->tmx);
    while (!ends_before_credit() && !may_look()) {
        ::pthread_cond_wait(task_->tcond, task_->tmx);
    }
    if (is_stopped()) {
        if (!slicer_traits<G>::stops_without_credit) {
            --task_->go;
        }
        return nullptr;
    }
    loader_ptr* const slot = free_slot();
    const bool is_ahead = slicer_traits<G>::bounds_read_ahead && task_->ready >= tables_ahead;
    if (slot == nullptr || is_ahead) {
        return nullptr;
    }
    --task_->go;
    task_->loading = true;
    return slot;
}

/// Null when the file's tables cannot be loaded.
template <class G> typename table_thread<G>::loader_ptr table_thread<G>::load() const
{
    try {
        auto loader = std::make_shared<typename G::table_loader>(task_->mode);
        loader->set_debug(task_->slicer->get_debug());
        if (loader->get_all_tables((*task_->files)[task_->next], 0, task_->chans) == 0) {
            return loader;
        }
    } catch (const std::exception&) { // a table that memory has no room for is like one that is damaged
    }
    return nullptr;
}

template <class G> void table_thread<G>::store(loader_ptr& slot, loader_ptr loader)
{
    const mutex_holder lock(*task_->tmx);
    slot = std::move(loader);
    ++task_->next;
    ++task_->ready;
    task_->loading = false;
    ::pthread_cond_broadcast(task_->tcond);
}

/// Goes on behind a file that cannot be loaded; false when bad files are not passed over.
template <class G> bool table_thread<G>::pass_over()
{
    const mutex_holder lock(*task_->tmx);
    task_->loading = false;
    ::pthread_cond_broadcast(task_->tcond);
    if (!task_->skip) {
        task_->status = 1;
        return false;
    }
    ++task_->go;
    task_->bad[task_->next] = true;
    ++task_->bad_files;
    ++task_->next;
    return true;
}

/// The end without a failed load; waits there to be stopped where callers know the thread so.
template <class G> void table_thread<G>::end_well()
{
    const mutex_holder lock(*task_->tmx);
    task_->status = 0;
    while (slicer_traits<G>::table_thread_stays && !is_stopped()) {
        ::pthread_cond_wait(task_->tcond, task_->tmx);
    }
}

/// Body of the generations' thread entries.
template <class G> void* run_table_thread(void* task)
{
    const bool ended_well = table_thread<G>(*static_cast<basic_get_tables_task<G>*>(task)).run();
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(ended_well ? 0 : 1));
}

template <class G> int basic_slicer<G>::start_table_thread()
{
    // More slots than files would stay free.
    const auto count = std::min(static_cast<std::size_t>(get_tables_num_), files_.size());
    void* block = os().malloc(count * sizeof(std::shared_ptr<table_loader>));
    if (block == nullptr) {
        std::perror("malloc");
        print<common_slicer_texts, common_slicer_message::no_slots_memory>();
        return TROX_DAQ_SLICER_INTERN_ERROR;
    }
    get_tables_.adopt(block, count);
    task_.slicer = this;
    task_.files = &files_;
    task_.chans = &chansp_;
    task_.get_tables = get_tables_.begin();
    task_.get_tables_num = static_cast<int>(count);
    task_.tmx = &tmx_;
    task_.tcond = &tcond_;
    task_.mode = mode_;
    task_.skip = skip_bad_records_;
    task_.ready = 0;
    task_.go = task_.get_tables_num;
    task_.stop = 0;
    task_.status = 0;
    task_.next = 0;
    task_.loading = false;
    task_.bad.assign(files_.size(), false);

    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setscope(&attributes, PTHREAD_SCOPE_SYSTEM);
    const int failed = os().pthread_create(&tid_, &attributes, slicer_traits<G>::table_thread, &task_);
    ::pthread_attr_destroy(&attributes);
    if (failed != 0) {
        tid_ = 0;
        print<common_slicer_texts, common_slicer_message::thread_not_started>();
        return TROX_DAQ_SLICER_INTERN_ERROR;
    }
    return TROX_DAQ_SLICER_OK;
}

template <class G> void basic_slicer<G>::stop_table_thread()
{
    if (tid_ == 0) {
        return;
    }
    {
        const mutex_holder lock(tmx_);
        task_.stop = 1;
        task_.go = 1;
        ::pthread_cond_broadcast(&tcond_);
    }
    const bool has_traces = slicer_traits<G>::has_life_cycle_traces && get_debug() > 0;
    if (os().pthread_join(tid_, nullptr) == 0) {
        tid_ = 0;
        if (has_traces) {
            print<common_slicer_texts, common_slicer_message::thread_joined>();
            std::fflush(nullptr);
        }
    } else if (get_debug() > 0) {
        print<common_slicer_texts, common_slicer_message::thread_not_joined>(static_cast<unsigned long>(tid_));
    }
}

/// With `tmx_` held.
template <class G> typename G::table_loader* basic_slicer<G>::loaded_table(const std::string& name) const
{
    for (const auto& loader : get_tables_) {
        if (loader != nullptr && name == loader->get_file_name()) {
            return loader.get();
        }
    }
    return nullptr;
}

/// Whether the thread loads the file without anything that this thread does. With `tmx_` held.
template <class G> bool basic_slicer<G>::is_coming(const std::string& name) const
{
    const bool is_ahead = slicer_traits<G>::bounds_read_ahead && task_.ready >= tables_ahead;
    const bool has_credit = task_.go > 0 || task_.loading;
    return has_credit && !is_ahead &&
           std::find(files_.begin() + static_cast<std::ptrdiff_t>(task_.next), files_.end(), name) != files_.end();
}

template <class G> typename G::table_loader* basic_slicer<G>::find_ready_table(const std::string& name)
{
    if (tid_ == 0) {
        return nullptr; // nobody would ever end a wait
    }
    const mutex_holder lock(tmx_);
    while (true) {
        if (table_loader* loader = loaded_table(name); loader != nullptr) {
            task_.ready = std::max(task_.ready - 1, 0);
            return loader;
        }
        if (task_.status != 0) {
            return nullptr;
        }
        // Without anything untaken the call stays, as its callers know it, until there is; with bad records
        // skipped, nothing may wait for ever.
        if (!is_coming(name) && (task_.ready > 0 || task_.skip)) {
            return nullptr;
        }
        ::pthread_cond_wait(&tcond_, &tmx_);
    }
}

template <class G> typename G::table_loader* basic_slicer<G>::find_ready_table(const char* name)
{
    return name != nullptr ? find_ready_table(std::string(name)) : nullptr;
}

/// Whether the thread has passed over a file.
template <class G> bool basic_slicer<G>::is_bad(int file) const
{
    const mutex_holder lock(tmx_);
    return task_.bad[static_cast<std::size_t>(file)];
}

/// The slot that owns a loader, or null. With `tmx_` held.
template <class G> std::shared_ptr<typename G::table_loader>* basic_slicer<G>::slot_of(const table_loader* loader) const
{
    const auto slot = std::find_if(get_tables_.begin(), get_tables_.end(),
                                   [&](const auto& candidate) { return candidate.get() == loader; });
    return slot != get_tables_.end() ? slot : nullptr;
}

} // namespace trox_detail

#endif
