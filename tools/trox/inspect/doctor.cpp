#include "doctor.h"

#include "check_baskets.inl"
#include "check_channels.inl"
#include "check_events.inl"
#include "check_rows.inl"
#include "check_tables.inl"
#include "file_check.h"

namespace trox::inspect
{

template <class G>
file_check<G>::file_check(const input_file& file, const doctor_options& options)
    : file_(file), options_(options), window_(file), findings_(options.kept_per_code)
{
    report_.path = file.path();
    report_.file_size = file.size();
    report_.format = format::id;
    event_headers_.room = file.size(); // without a basket its records are looked for everywhere
    server_blocks_.room = file.size();
}

template <class G> file_check<G>::~file_check() = default;

template <class G> check_report file_check<G>::run(bool has_file_head)
{
    if (has_file_head) {
        report_.items.push_back({item_kind::file_head, {}, 0, sizeof(file_head)});
        if (const auto head = file_.load<file_head>(0); head && head->reserved != 0) {
            add(finding_code::padding, {.item = item_kind::file_head, .offset = 0}, hex(head->reserved), "0");
        }
    } else {
        add(finding_code::file_head, {.item = item_kind::file_head, .offset = 0}, "other bytes",
            "TROXDAQ and " + std::to_string(static_cast<std::uint32_t>(format::id)));
    }
    check_trailer();
    if (has_references_) {
        if (require(item_kind::event_headers, references_.evhdb_ref)) {
            event_headers_ = open_basket(item_kind::event_headers, references_.evhdb_ref, event_headers_pattern);
        }
        if (require(item_kind::server_blocks, references_.srvbb_ref)) {
            server_blocks_ = open_basket(item_kind::server_blocks, references_.srvbb_ref, server_blocks_pattern);
        }
        check_dictionary();
        check_environment();
        check_index();
        open_pointers();
        survey_rows();
        check_blocks();
        check_channels();
        check_descriptions();
        check_block_totals();
        check_event_totals();
    } else {
        check_lone_baskets();
    }
    check_overlaps();
    return make_report();
}

template <class G> check_report file_check<G>::make_report()
{
    if (file_.has_failed()) {
        add(finding_code::read_error, {}, "a part that cannot be read", "bytes");
    }
    report_.events = indexed_;
    report_.findings = findings_.sorted();
    for (std::size_t i = 0; i < finding_code_count; ++i) {
        const auto code = static_cast<finding_code>(i);
        if (const std::uint64_t count = findings_.count(code); count != 0) {
            report_.counts.push_back({code, count});
        }
    }
    report_.errors = findings_.count(severity::error);
    report_.warnings = findings_.count(severity::warning);
    report_.notes = findings_.count(severity::note);
    return std::move(report_);
}

namespace
{

check_report no_data_file(const input_file& file)
{
    check_report report;
    report.path = file.path();
    report.file_size = file.size();
    report.errors = 1;
    report.counts.push_back({finding_code::not_a_data_file, 1});
    report.findings.push_back({finding_code::not_a_data_file,
                               {.item = item_kind::file_head, .offset = 0},
                               "neither a file head nor a trailer",
                               "a data file of the legacy, 2010 or 2024 generation"});
    return report;
}

} // namespace

check_report check_file(const std::string& path, const doctor_options& options)
{
    const input_file file(path);
    const file_probe probed = probe(file);
    if (!probed.format) {
        return no_data_file(file);
    }
    return with_generation(*probed.format, [&]<class Generation>() {
        return file_check<Generation>(file, options).run(probed.has_file_head);
    });
}

} // namespace trox::inspect
