// Run catalogue files.
#include "file_io.h"
#include "names.h"
#include "xml_text.h"

#include <algorithm>

namespace trox::writer
{
namespace
{

void check_times(std::int64_t start, std::int64_t stop, bool open_allowed, const std::string& what)
{
    if (start < 0 || (stop < start && !(open_allowed && stop == 0))) {
        throw error(fault::bad_value, what + ": its times do not follow each other");
    }
}

void check_file(const catalogue_file& file)
{
    if (file.name.empty() || file.name.find('/') != std::string::npos) {
        throw error(fault::bad_name, "\"" + file.name + "\" is no base name of a file");
    }
    if (file.format != "raw" && file.format != "raw64" && file.format != "root") {
        throw error(fault::bad_value, file.name + ": unknown format \"" + file.format + "\"");
    }
    check_times(file.start, file.stop, true, file.name);
}

std::string catalogue_text(const catalogue_run& run)
{
    std::string xml = "<daq_run";
    put_attribute(xml, "number", run.run.number);
    put_attribute(xml, "experiment", run.run.experiment);
    put_attribute(xml, "stream", run.run.stream);
    put_attribute(xml, "start", run.start);
    put_attribute(xml, "stop", run.stop);
    xml += ">\n";
    for (const auto& file : run.files) {
        check_file(file);
        xml += "  <file";
        put_attribute(xml, "name", file.name);
        put_attribute(xml, "format", file.format);
        put_attribute(xml, "start", file.start);
        put_attribute(xml, "stop", file.stop);
        xml += "/>\n";
    }
    return xml + "</daq_run>\n";
}

} // namespace

const char* catalogue_format(generation format) noexcept
{
    return format == generation::v2024 ? "raw64" : "raw";
}

std::string catalogue_file_name(const catalogue_run& run)
{
    check_identity(run.run);
    check_times(run.start, run.stop, true, "run " + std::to_string(run.run.number));
    return run.run.experiment + "_" + run.run.stream + "_run" + std::to_string(run.run.number) + "_" +
           time_text(run.start) + "_" + (run.stop == 0 ? "open" : time_text(run.stop)) + ".xml";
}

std::string write_catalogue(const std::string& directory, const catalogue_run& run, bool sync)
{
    const auto path = (directory.empty() ? "." : directory) + "/" + catalogue_file_name(run);
    const auto text = catalogue_text(run);
    atomic_file file(path);
    file.out().write(text.data(), text.size());
    file.commit(true, sync);
    return path;
}

} // namespace trox::writer
