// The same sections, written in each format.
#include "cli/output.h"
#include "cli/report.h"
#include "temp_directory.h"

#include <clocale>
#include <cmath>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace
{

using namespace trox_cli;

std::string text_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

using renderer_maker = std::unique_ptr<renderer> (*)(output&, const report_setting&);

class reports : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        std::setlocale(LC_CTYPE, "C.UTF-8");
    }

    template <class Fill> std::string rendered(renderer_maker make, const Fill& fill)
    {
        const std::string path = directory_.file("report");
        output out(path);
        report result(make(out, setting_));
        fill(result);
        result.finish();
        out.finish();
        return text_of(path);
    }

    static void two_sections(report& result)
    {
        result.fields({"file", "File"}, {{{"path"}, "a,\"b\".raw"}, {{"size", column_type::bytes}, 2048}});
        one_table(result);
    }
    static void one_table(report& result)
    {
        result.begin_table({"channels", "Channels"}, {{"name"},
                                                      {"records", column_type::integer},
                                                      {"mean_value", column_type::real},
                                                      {"types", column_type::list},
                                                      {"is_slow", column_type::boolean, column_view::exact}});
        result.row({"CHARGE µC", 7, 0.5F, cell::list(std::vector<std::string>{"NORMAL", "UPD"}), true});
        result.row({"X", 12345, std::nan(""), cell(), false});
        result.end_table();
    }

    trox_test::temp_directory directory_;
    report_setting setting_{"trox.test/1", {}, false, column_view::everywhere, 0};
};

TEST_F(reports, tables_are_aligned_with_numbers_on_the_right)
{
    EXPECT_EQ(rendered(make_table_renderer, two_sections), "File\n"
                                                           "path  a,\"b\".raw\n"
                                                           "size  2.0 KiB\n"
                                                           "\n"
                                                           "Channels\n"
                                                           "name       records  mean value  types\n"
                                                           "CHARGE µC        7         0.5  NORMAL, UPD\n"
                                                           "X            12345         nan  -\n");
}

TEST_F(reports, csv_is_utf8_and_moves_no_cursor_on_a_terminal)
{
    const auto fill = [](report& result) {
        result.begin_table({"channels"}, {{"name"}, {"texts", column_type::list}});
        result.row({"\xB0"
                    "C\033[31m\n\xC2\x9B",
                    cell::list(std::vector<std::string>{"\xFF", "b"})});
        result.end_table();
    };
    EXPECT_EQ(rendered(make_csv_table_renderer, fill), "name,texts\r\n\"\xEF\xBF\xBD"
                                                       "C\033[31m\n\xC2\x9B\",\xEF\xBF\xBD b\r\n");
    setting_.is_terminal = true;
    const std::string shown = "\xEF\xBF\xBD"
                              "C\xEF\xBF\xBD[31m \xEF\xBF\xBD";
    EXPECT_EQ(rendered(make_csv_table_renderer, fill), "name,texts\r\n" + shown + ",\xEF\xBF\xBD b\r\n");
    EXPECT_EQ(rendered(make_csv_values_renderer, fill),
              "section,row,field,value\r\nchannels,1,name," + shown + "\r\nchannels,1,texts,\xEF\xBF\xBD b\r\n");
}

TEST_F(reports, tables_show_all_columns_when_asked_to)
{
    setting_.detail = column_view::exact;
    EXPECT_EQ(rendered(make_table_renderer, one_table), "Channels\n"
                                                        "name       records  mean value  types        is slow\n"
                                                        "CHARGE µC        7         0.5  NORMAL, UPD  yes\n"
                                                        "X            12345         nan  -            no\n");
}

TEST_F(reports, tables_keep_to_the_width_of_a_terminal)
{
    setting_.width = 30;
    const auto long_names = [](report& result) {
        result.begin_table({"rows"}, {{"name"}, {"count", column_type::integer}});
        result.row({"A/VERY/LONG/NAME/OF/A/CHANNEL", 7});
        result.end_table();
    };
    EXPECT_EQ(rendered(make_table_renderer, long_names), "name                     count\n"
                                                         "A/VERY/LONG/NAME/OF/A/…      7\n");
}

TEST_F(reports, tables_cut_what_has_no_room_at_all)
{
    setting_.width = 8;
    const auto numbers = [](report& result) {
        result.begin_table({"rows"}, {{"first", column_type::integer}, {"second", column_type::integer}, {"third"}});
        result.row({1, 2, "x"});
        result.end_table();
    };
    EXPECT_EQ(rendered(make_table_renderer, numbers), "first  …\n"
                                                      "    1  2\n");
}

TEST_F(reports, tables_have_colours_when_asked_to)
{
    setting_.has_colors = true;
    const auto shades = [](report& result) {
        result.begin_table({"rows"}, {{"state"}, {"note"}});
        result.row({cell("bad").with(tone::bad), cell()});
        result.end_table();
    };
    EXPECT_EQ(rendered(make_table_renderer, shades), "\033[1mstate  note\033[0m\n"
                                                     "\033[31mbad\033[0m    \033[2m-\033[0m\n");
}

TEST_F(reports, long_tables_are_written_as_they_come)
{
    const auto many = [](report& result) {
        result.begin_table({"rows"}, {{"n", column_type::integer}, {"text"}});
        for (int i = 0; i < 5000; ++i) {
            result.row({i, i == 4000 ? "behind the rows that decide the widths" : "x"});
        }
        result.end_table();
    };
    const std::string text = rendered(make_table_renderer, many);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 5001);
    EXPECT_NE(text.find("\n4000  behind the rows that decide the widths\n4001  x\n"), std::string::npos);
}

TEST_F(reports, json_is_one_document)
{
    EXPECT_EQ(rendered(make_json_renderer, two_sections),
              "{\n"
              "  \"schema\": \"trox.test/1\",\n"
              "  \"file\": {\n"
              "    \"path\": \"a,\\\"b\\\".raw\",\n"
              "    \"size\": 2048\n"
              "  },\n"
              "  \"channels\": [\n"
              "    {\"name\": \"CHARGE µC\", \"records\": 7, \"mean_value\": 0.5, \"types\": [\"NORMAL\", \"UPD\"], "
              "\"is_slow\": true},\n"
              "    {\"name\": \"X\", \"records\": 12345, \"mean_value\": null, \"types\": null, \"is_slow\": false}\n"
              "  ]\n"
              "}\n");
}

TEST_F(reports, json_of_an_empty_table_is_an_empty_list)
{
    const auto empty = [](report& result) {
        result.begin_table({"rows"}, {{"n"}});
        result.end_table();
    };
    EXPECT_EQ(rendered(make_json_renderer, empty), "{\n  \"schema\": \"trox.test/1\",\n  \"rows\": []\n}\n");
}

TEST_F(reports, ndjson_is_an_object_a_line_that_names_its_schema_first)
{
    EXPECT_EQ(rendered(make_ndjson_renderer, two_sections),
              "{\"schema\": \"trox.test/1\", \"section\": \"file\", \"path\": \"a,\\\"b\\\".raw\", \"size\": 2048}\n"
              "{\"schema\": \"trox.test/1\", \"section\": \"channels\", \"name\": \"CHARGE µC\", \"records\": 7, "
              "\"mean_value\": 0.5, \"types\": [\"NORMAL\", \"UPD\"], \"is_slow\": true}\n"
              "{\"schema\": \"trox.test/1\", \"section\": \"channels\", \"name\": \"X\", \"records\": 12345, "
              "\"mean_value\": null, \"types\": null, \"is_slow\": false}\n");
}

TEST_F(reports, csv_of_a_table_has_its_columns)
{
    EXPECT_EQ(rendered(make_csv_table_renderer, one_table), "name,records,mean_value,types,is_slow\r\n"
                                                            "CHARGE µC,7,0.5,NORMAL UPD,true\r\n"
                                                            "X,12345,nan,,false\r\n");
}

TEST_F(reports, csv_of_sections_has_a_line_per_value)
{
    const auto values = [](report& result) {
        result.fields({"file"}, {{{"path"}, "a,\"b\".raw"}});
        result.begin_table({"rows"}, {{"text"}, {"n", column_type::integer}});
        result.row({"two\nlines", 1});
        result.end_table();
    };
    EXPECT_EQ(rendered(make_csv_values_renderer, values), "section,row,field,value\r\n"
                                                          "file,,path,\"a,\"\"b\"\".raw\"\r\n"
                                                          "rows,1,text,\"two\nlines\"\r\n"
                                                          "rows,1,n,1\r\n");
}

TEST_F(reports, refuse_rows_that_fit_no_table)
{
    output out(directory_.file("none"));
    report result(make_table_renderer(out, setting_));
    EXPECT_THROW(result.row({1}), std::logic_error);
    result.begin_table({"rows"}, {{"n"}});
    EXPECT_THROW(result.row({1, 2}), std::logic_error);
    EXPECT_THROW(result.finish(), std::logic_error);
}

} // namespace
