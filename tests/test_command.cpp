// tests/test_command.cpp - the tabfit command, run as a user runs it.
#include "tests/support/command.hpp"

#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>
#include <cmath>
#include <nlohmann/json.hpp>

#include "tabfit/tabfit.h"

namespace {

/// `tabfit interpolate` with a table on standard input.
Outcome interpolate(const std::string& table, const Words& words) {
  return run_tabfit(Words{"interpolate", "-"} + words,
                    {.input = table, .environment = {}, .output_file = ""});
}

const std::string line_table = "x,y\n0,0\n1,10\n3,30\n";

// -- results ----------------------------------------------------------------------------------------

TEST_F(Command, InterpolatesLinearlyUnlessToldOtherwise) {
  expect_output(interpolate(line_table, {"--at", "0.5,2,3"}), "x,y\n0.5,5\n2,20\n3,30\n");
}

TEST_F(Command, PrintsWhatTheLinearTableFunctionReturns) {
  const auto table = columns_of<double>(content(fs::path(titanium)));
  const Outcome outcome =
      run_tabfit({"interpolate", titanium, "--at", "595:1075:1234", "--method", "linear"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const auto result = columns_of<double>(outcome.out);
  ASSERT_EQ(result.at(0).size(), 1234U);
  std::vector<double> y(1234, -1);
  ASSERT_EQ(AX_linttabd(int(table[0].size()), table[0].data(), table[1].data(), 1234, result[0].data(),
                        y.data()),
            AX_LINTTAB_OK);
  EXPECT_EQ(result.at(1), y);
}

TEST_F(Command, PrintsWhatTheCubicTableFunctionReturns) {
  const auto table = columns_of<double>(content(fs::path(titanium)));
  const Outcome outcome = run_tabfit(
      {"interpolate", titanium, "--at", "595:1075:777", "--method", "cubic", "--derivatives"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_TRUE(outcome.out.starts_with("temperature,property,first derivative,second derivative\n"));
  const auto result = columns_of<double>(outcome.out);
  const int n = int(table[0].size()), m = 777;
  ASSERT_EQ(result.at(0).size(), std::size_t(m));
  std::vector<double> C = table[1], s(m, -1), s1(m, -1), s2(m, -1);
  C.resize(4 * C.size());
  ASSERT_EQ(
      AX_intspl3tabd(table[0].data(), C.data(), n, m, result[0].data(), s.data(), s1.data(), s2.data()),
      AX_INTSPL3TAB_OK);
  EXPECT_EQ(result.at(1), s);
  EXPECT_EQ(result.at(2), s1);
  EXPECT_EQ(result.at(3), s2);
}

TEST_F(Command, UsesTheSinglePrecisionTwinsOnRequest) {
  const auto table = columns_of<float>(content(fs::path(titanium)));
  const Words points = {"interpolate", titanium, "--at", "595:1075:333", "--precision", "single"};
  const int n = int(table[0].size()), m = 333;
  std::vector<float> C = table[1], s(m, -1), s1(m, -1), s2(m, -1), y(m, -1);
  C.resize(4 * C.size());

  const Outcome cubic = run_tabfit(points + Words{"--method", "cubic", "--derivatives"});
  ASSERT_EQ(cubic.status, 0) << cubic.err;
  const auto curve = columns_of<float>(cubic.out);
  ASSERT_EQ(AX_intspl3tabf(table[0].data(), C.data(), n, m, curve.at(0).data(), s.data(), s1.data(),
                           s2.data()),
            AX_INTSPL3TAB_OK);
  EXPECT_EQ(curve.at(1), s);
  EXPECT_EQ(curve.at(2), s1);
  EXPECT_EQ(curve.at(3), s2);

  const Outcome linear = run_tabfit(points);
  ASSERT_EQ(linear.status, 0) << linear.err;
  const auto lines = columns_of<float>(linear.out);
  ASSERT_EQ(AX_linttabf(n, table[0].data(), table[1].data(), m, lines.at(0).data(), y.data()),
            AX_LINTTAB_OK);
  EXPECT_EQ(lines.at(1), y);
}

TEST_F(Command, PrintsTheShortestTextThatReadsBack) {
  const std::string thirds = "0,0\n3,1\n";
  expect_output(interpolate(thirds, {"--at", "1"}), "column 1,column 2\n1," + shortest(1.0 / 3) + "\n");
  expect_output(interpolate(thirds, {"--at", "1", "--precision", "single"}),
                "column 1,column 2\n1," + shortest(1.0F / 3) + "\n");
}

TEST_F(Command, AcceptsAPointOutsideByNoMoreThanTheTolerance) {
  expect_output(interpolate(line_table, {"--at", "3.000000001"}), "x,y\n3.000000001,30\n");
  expect_failure(interpolate(line_table, {"--at", "3.00000001"}), 1,
                 "standard input: point 3.00000001 lies outside 0..3");
  expect_output(interpolate(line_table, {"--at", "3.00001", "--precision", "single"}),
                "x,y\n3.00001,30\n");
  expect_failure(interpolate(line_table, {"--at", "3.0001", "--precision", "single"}), 1,
                 "standard input: point 3.0001 lies outside 0..3");
}

// -- formats ----------------------------------------------------------------------------------------

TEST_F(Command, TableFormatPutsDecimalPointsBelowEachOther) {
  expect_output(interpolate("time,\xC3\xA9t\xC3\xA9\n0,0\n100,1e-7\n",
                            {"--at", "0,2.5,100", "--format", "table"}),
                " time      \xC3\xA9t\xC3\xA9\n"
                "  0    0\n"
                "  2.5  2.5e-09\n"
                "100    1e-07\n");
}

TEST_F(Command, JsonFormatDescribesItsPoints) {
  const Outcome outcome = run_tabfit({"interpolate", titanium, "--method", "cubic", "--at", "600,700.5",
                                      "--derivatives", "--format", "json"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const auto json = nlohmann::json::parse(outcome.out);
  EXPECT_EQ(json.at("file"), titanium);
  EXPECT_EQ(json.at("method"), "cubic");
  EXPECT_EQ(json.at("precision"), "double");
  EXPECT_EQ(json.at("x"), "temperature");
  EXPECT_EQ(json.at("y"), "property");
  ASSERT_EQ(json.at("points").size(), 2U);

  const Outcome csv =
      run_tabfit({"interpolate", titanium, "--method", "cubic", "--at", "600,700.5", "--derivatives"});
  const auto columns = columns_of<double>(csv.out);
  for (std::size_t j = 0; j < 2; ++j) {
    EXPECT_EQ(json["points"][j].at("x").get<double>(), columns.at(0)[j]);
    EXPECT_EQ(json["points"][j].at("y").get<double>(), columns.at(1)[j]);
    EXPECT_EQ(json["points"][j].at("first_derivative").get<double>(), columns.at(2)[j]);
    EXPECT_EQ(json["points"][j].at("second_derivative").get<double>(), columns.at(3)[j]);
  }
}

TEST_F(Command, JsonIsValidWhateverTheColumnsAreCalled) {
  const Outcome outcome =
      interpolate("\"a\"\"\\\n\",\xFF\n0,0\n1,1\n", {"--at", "0.5", "--format", "json"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const auto json = nlohmann::json::parse(outcome.out);
  EXPECT_EQ(json.at("x"), "a\"\\\n");
  EXPECT_EQ(json.at("y"), "\xEF\xBF\xBD");
}

TEST_F(Command, CsvResultIsATableThatItReadsAgain) {
  const Outcome first = interpolate("\"a, b\",\"c \"\"d\"\"\"\n0,0\n1,2\n", {"--at", "0:1:5"});
  ASSERT_EQ(first.status, 0) << first.err;
  EXPECT_TRUE(first.out.starts_with("\"a, b\",\"c \"\"d\"\"\"\n")) << first.out;
  expect_output(interpolate(first.out, {"--at", "0:1:5", "--x", "a, b", "--y", "c \"d\""}), first.out);
}

// -- points -----------------------------------------------------------------------------------------

TEST_F(Command, RangeEndsExactlyAtItsStop) {
  expect_output(interpolate(line_table, {"--at", "0:1:11"}),
                "x,y\n0,0\n0.1,1\n0.2,2\n0.3,3\n0.4,4\n0.5,5\n0.6,6\n0.7,7\n0.8,8\n0.9,9\n1,10\n");
  const Outcome outcome = interpolate(line_table, {"--at", "0.1:2.9:7919"});
  const auto columns = columns_of<double>(outcome.out);
  ASSERT_EQ(columns.at(0).size(), 7919U);
  EXPECT_EQ(columns[0].front(), 0.1);
  EXPECT_EQ(columns[0].back(), 2.9);
}

TEST_F(Command, RangeMayDescend) {
  expect_output(interpolate(line_table, {"--at", "3:1:2"}), "x,y\n3,30\n1,10\n");
}

TEST_F(Command, RangeOfOnePointNeedsEqualEnds) {
  expect_output(interpolate(line_table, {"--at", "1:1:1"}), "x,y\n1,10\n");
  expect_failure(interpolate(line_table, {"--at", "1:2:1"}), 2,
                 "--at: COUNT is 1, but START and STOP are '1' and '2'");
}

TEST_F(Command, RefusesARangeWithoutAWholeCount) {
  for (const std::string count : {"0", "-3", "2.5", "", "x", "99999999999"})
    expect_failure(interpolate(line_table, {"--at", "1:2:" + count}), 2,
                   "--at: COUNT must be a whole number from 2 to 10000000, but is '" + count + "'");
}

TEST_F(Command, RefusesPointsThatAreNotNumbers) {
  expect_failure(interpolate(line_table, {"--at", "1,abc"}), 2, "--at: not a number in place 2: 'abc'");
  expect_failure(interpolate(line_table, {"--at", "1,,2"}), 2, "--at: no number in place 2");
  expect_failure(interpolate(line_table, {"--at", "nan"}), 2,
                 "--at: not a finite number in place 1: 'nan'");
  expect_failure(interpolate(line_table, {"--at", "1e999"}), 2,
                 "--at: outside the range of double precision in place 1: '1e999'");
  expect_failure(interpolate(line_table, {"--at", "1:b:3"}), 2, "--at: not a number in STOP: 'b'");
  expect_failure(interpolate(line_table, {"--at", "1:2"}), 2,
                 "--at: neither a list of numbers nor START:STOP:COUNT: '1:2'");
}

TEST_F(Command, AcceptsSignsAndBlanksAroundNumbers) {
  expect_output(interpolate("-2,1\n+2,\" 3 \"\n", {"--at", "-1, +1"}),
                "column 1,column 2\n-1,1.5\n1,2.5\n");
}

TEST_F(Command, ReadsPointsFromTheFirstColumnOfAFile) {
  const std::string with_header = write("header.csv", "time,other\n0.5,a\n2,b\n");
  const std::string without = write("plain.csv", "0.5\n\n2\n");
  for (const std::string& file : {with_header, without})
    expect_output(interpolate(line_table, {"--at-file", file}), "x,y\n0.5,5\n2,20\n");
}

TEST_F(Command, ReadsPointsFromStandardInput) {
  const std::string table = write("line.csv", line_table);
  expect_output(run_tabfit({"interpolate", table, "--at-file", "-"},
                           {.input = "0.5\n2\n", .environment = {}, .output_file = ""}),
                "x,y\n0.5,5\n2,20\n");
}

TEST_F(Command, NamesTheRowOfAPointThatLiesOutside) {
  const std::string file = write("points.csv", "time\n1\n\n7.50\n");
  expect_failure(interpolate(line_table, {"--at-file", file}), 1,
                 "standard input: point 7.50 (" + file + ", row 4) lies outside 0..3");
}

TEST_F(Command, RefusesAPointFileWithoutPoints) {
  const std::string empty = write("empty.csv", ""), header = write("header.csv", "time\n");
  expect_failure(interpolate(line_table, {"--at-file", empty}), 2, empty + ": the table is empty");
  expect_failure(interpolate(line_table, {"--at-file", header}), 2,
                 header + ": there are no points, only a header line");
}

TEST_F(Command, NamesThePlaceOfAPointThatIsNotANumber) {
  const std::string file = write("points.csv", "1\n2\nabc\n");
  expect_failure(interpolate(line_table, {"--at-file", file}), 2,
                 file + ": not a number in row 3, column 1: 'abc'");
}

// -- tables -----------------------------------------------------------------------------------------

TEST_F(Command, ReadsQuotedCellsCrlfByteOrderMarkAndBlankLines) {
  expect_output(
      interpolate("\xEF\xBB\xBF\"x\",\"y\"\r\n\r\n\"0\",0\r\n  \r\n1,\"10\"\r\n\r\n", {"--at", "0.5"}),
      "x,y\n0.5,5\n");
}

TEST_F(Command, ReadsALastLineWithoutItsEnd) {
  expect_output(interpolate("0,0\n1,10", {"--at", "0.5"}), "column 1,column 2\n0.5,5\n");
}

TEST_F(Command, ChoosesColumnsByNameOrNumber) {
  const std::string table = "a,b,c\n0,5,0\n1,6,10\n";
  const std::string by_c = "b,c\n5.5,5\n";
  expect_output(interpolate(table, {"--x", "b", "--y", "c", "--at", "5.5"}), by_c);
  expect_output(interpolate(table, {"--x", "2", "--y", "3", "--at", "5.5"}), by_c);
}

TEST_F(Command, ColumnNameWinsOverColumnNumber) {
  expect_output(interpolate("t,2020,2\n0,1,5\n1,1,6\n", {"--y", "2", "--at", "1"}), "t,2\n1,6\n");
}

TEST_F(Command, ListsTheColumnsWhenOneIsMissing) {
  expect_failure(interpolate(line_table, {"--at", "1", "--y", "z"}), 2,
                 "standard input: no column 'z'; there are `x`, `y`");
  expect_failure(interpolate(line_table, {"--at", "1", "--x", "3"}), 2,
                 "standard input: no column '3'; there are `x`, `y`");
  expect_failure(
      interpolate("0,1\n1,2\n", {"--at", "1", "--y", "y"}), 2,
      "standard input: no column 'y'; there is no header line, and the number of columns is 2");
}

TEST_F(Command, RefusesAnAmbiguousColumnName) {
  expect_failure(interpolate("x,y,y\n0,1,2\n1,2,3\n", {"--at", "1", "--y", "y"}), 2,
                 "standard input: more than one column is named `y`; there are `x`, `y`, `y`");
}

TEST_F(Command, RefusesOneColumnForBothAxes) {
  expect_failure(interpolate(line_table, {"--at", "1", "--x", "y"}), 2,
                 "standard input: x and y are both column `y`; name the other one with --x or --y");
}

TEST_F(Command, RefusesATableOfOneColumn) {
  expect_failure(interpolate("1;2\n2;3\n", {"--at", "1"}), 2,
                 "standard input: the table has one column, but two are needed, separated by commas");
}

TEST_F(Command, NumbersRowsAsASpreadsheetDoes) {
  expect_failure(interpolate("x,y\n0,1\n\n2,abc\n", {"--at", "1"}), 2,
                 "standard input: not a number in row 4, column `y`: 'abc'");
  expect_failure(interpolate("x,y\r\n0,1\r\n\r\n2,abc\r\n", {"--at", "1"}), 2,
                 "standard input: not a number in row 4, column `y`: 'abc'");
  expect_failure(interpolate("0,1\n2,abc\n", {"--at", "1"}), 2,
                 "standard input: not a number in row 2, column 2: 'abc'");
  expect_failure(interpolate("\"x\nin s\",y\n0,1\n2,abc\n", {"--at", "1"}), 2,
                 "standard input: not a number in row 3, column `y`: 'abc'");
}

TEST_F(Command, RefusesCellsThatAreNotFiniteNumbers) {
  expect_failure(interpolate("0,1\n1,inf\n", {"--at", "1"}), 2,
                 "standard input: not a finite number in row 2, column 2: 'inf'");
  expect_failure(interpolate("0,nan\n1,2\n", {"--at", "1"}), 2,
                 "standard input: not a finite number in row 1, column 2: 'nan'");
  expect_failure(interpolate("0,1\n1,1e50\n", {"--at", "1", "--precision", "single"}), 2,
                 "standard input: outside the range of single precision in row 2, column 2: '1e50'");
  expect_failure(interpolate("x,y\n0,1\n1,\n", {"--at", "1"}), 2,
                 "standard input: no number in row 3, column `y`");
  expect_failure(interpolate("x,y\n0,1\n1,0x10\n", {"--at", "1"}), 2,
                 "standard input: not a number in row 3, column `y`: '0x10'");
}

TEST_F(Command, RefusesRowsOfDifferentLength) {
  expect_failure(interpolate("x,y\n0,1\n1,2,3\n", {"--at", "1"}), 2,
                 "standard input: row 3 does not have as many cells as row 1: 3, not 2");
}

TEST_F(Command, RefusesMisplacedQuotes) {
  for (const std::string bad : {"\"1,2\n", "1,2\"2\"\n", "1,\"2\"2\n"})
    expect_failure(interpolate("x,y\n0,1\n" + bad, {"--at", "1"}), 2,
                   "standard input: misplaced or missing quote in row 3");
}

TEST_F(Command, RefusesTextInAnotherEncodingThanUtf8) {
  expect_failure(interpolate(std::string("\xFF\xFEx\0,\0y\0", 8), {"--at", "1"}), 2,
                 "standard input: the text is UTF-16, save it as UTF-8");
}

TEST_F(Command, RefusesEmptyAndTooShortTables) {
  expect_failure(interpolate("", {"--at", "1"}), 2, "standard input: the table is empty");
  expect_failure(interpolate("\n\r\n  \n", {"--at", "1"}), 2, "standard input: the table is empty");
  expect_failure(interpolate("x,y\n", {"--at", "1"}), 2,
                 "standard input: too few rows of numbers: 0, but at least 2 are needed");
  expect_failure(interpolate("x,y\n1,2\n", {"--at", "1"}), 2,
                 "standard input: too few rows of numbers: 1, but at least 2 are needed");
}

TEST_F(Command, RefusesFilesThatCannotBeRead) {
  const std::string missing = path("missing.csv"), folder = path("folder");
  fs::create_directory(folder);
  expect_failure(run_tabfit({"interpolate", missing, "--at", "1"}), 2,
                 "cannot read " + missing + ": No such file or directory");
  expect_failure(run_tabfit({"interpolate", folder, "--at", "1"}), 2,
                 "cannot read " + folder + ": Is a directory");
  if (geteuid() != 0) {  // everything is readable to root
    const std::string secret = write("secret.csv", line_table);
    fs::permissions(secret, fs::perms::none);
    expect_failure(run_tabfit({"interpolate", secret, "--at", "1"}), 2,
                   "cannot read " + secret + ": Permission denied");
  }
}

TEST_F(Command, ReportsEveryFailureOnOneLineWhateverTheInput) {
  expect_failure(interpolate("x,y\n0,1\n1,\"a\n\x1B[31mb\"\n", {"--at", "1"}), 2,
                 "standard input: not a number in row 3, column `y`: 'a??[31mb'");
  expect_failure(
      interpolate("x,y\n0,1\n1," + std::string(1000, 'a') + "\n", {"--at", "1"}), 2,
      "standard input: not a number in row 3, column `y`: '" + std::string(60, 'a') + "...'");
}

// -- nodes ------------------------------------------------------------------------------------------

TEST_F(Command, RefusesNodesThatDoNotIncrease) {
  for (const char* method : {"linear", "cubic"}) {
    expect_failure(
        interpolate("x,y\n0,1\n1.0,2\n1.00,3\n2,3\n", {"--at", "0.5", "--method", method}), 1,
        "standard input: rows 3 and 4 have the abscissae 1.0 and 1.00, but nodes must increase "
        "by at least 2e-09 in double precision");
    expect_failure(interpolate("3,1\n2,2\n", {"--at", "0.5", "--method", method}), 1,
                   "standard input: rows 1 and 2 have the abscissae 3 and 2, but nodes must increase "
                   "by at least 2e-09 in double precision");
  }
}

TEST_F(Command, RefusesNodesThatAreOneNumberInSinglePrecision) {
  const std::string table = "1000000,1\n1000000.01,2\n1000001,3\n";
  expect_failure(
      interpolate(table, {"--at", "1000000.5", "--precision", "single"}), 1,
      "standard input: rows 1 and 2 have the abscissae 1000000 and 1000000.01, but nodes must "
      "increase by at least 2e-05 in single precision");
  EXPECT_EQ(interpolate(table, {"--at", "1000000.5"}).status, 0);
}

std::string too_narrow(int row, const std::string& left, const std::string& right) {
  return "standard input: rows " + std::to_string(row) + " and " + std::to_string(row + 1) +
         " have the abscissae " + left + " and " + right +
         ", but nodes must increase by at least 2e-09 in double precision";
}

TEST_F(Command, CubicNamesTheFirstIntervalThatIsTooNarrow) {
  for (const int bad : {0, 1, 2, 17, 38}) {
    std::string table = "x,y\n";
    std::vector<std::string> nodes;
    double x = 0;
    for (int i = 0; i < 40; ++i) {
      nodes.push_back(shortest(x));
      table.append(nodes.back()).append(",1\n");
      x += i == bad || i == 38 ? 1e-9 : 1;
    }
    expect_failure(interpolate(table, {"--at", "0.5", "--method", "cubic"}), 1,
                   too_narrow(bad + 2, nodes.at(bad), nodes.at(bad + 1)));
  }
}

TEST_F(Command, LinearRefusesANarrowIntervalOnlyWhereAPointLies) {
  const std::string table = "0,1\n1,2\n1.000000001,5\n2,3\n";
  EXPECT_EQ(interpolate(table, {"--at", "0.5,1.5"}).status, 0);
  expect_failure(interpolate(table, {"--at", "0.5,1.0000000005"}), 1,
                 "standard input: rows 2 and 3 have the abscissae 1 and 1.000000001, but nodes must "
                 "increase by at least 2e-09 in double precision around point 1.0000000005");
}

TEST_F(Command, RefusesAPointOutsideInItsOwnSpelling) {
  const std::string table = "0.0,1\n1,2\n360.00,5\n";
  for (const char* method : {"linear", "cubic"}) {
    expect_failure(interpolate(table, {"--at", "1,705.0", "--method", method}), 1,
                   "standard input: point 705.0 lies outside 0.0..360.00");
    expect_failure(interpolate(table, {"--at", "-5,1", "--method", method}), 1,
                   "standard input: point -5 lies outside 0.0..360.00");
    expect_failure(interpolate(table, {"--at", "0:400:5", "--method", method}), 1,
                   "standard input: point 400 lies outside 0.0..360.00");
  }
}

TEST_F(Command, RefusesAResultBeyondTheRange) {
  expect_failure(interpolate("0,1e308\n1,-1e308\n2,1e308\n", {"--at", "0.5", "--method", "cubic"}), 1,
                 "standard input: the result at point 0.5 is beyond the range of double precision");
}

// -- options ----------------------------------------------------------------------------------------

TEST_F(Command, HelpShowsExamplesAndExitStatuses) {
  const Outcome whole = run_tabfit({"--help"}), sub = run_tabfit({"interpolate", "--help"});
  EXPECT_EQ(whole.status, 0);
  EXPECT_EQ(whole.err, "");
  EXPECT_NE(whole.out.find("interpolate"), std::string::npos);
  EXPECT_EQ(sub.status, 0);
  EXPECT_EQ(sub.err, "");
  for (const char* part :
       {"--method", "--x", "--y", "--at ", "--at-file", "--derivatives", "--precision", "--format",
        "--plot", "--output", "--version", "Examples:", "Exit status:", "Straight lines (the default)"})
    EXPECT_NE(sub.out.find(part), std::string::npos) << part;
}

TEST_F(Command, VersionIsThatOfTheHeaders) {
  expect_output(run_tabfit({"--version"}), "tabfit " TABFIT_VERSION_STRING "\n");
  expect_output(run_tabfit({"interpolate", "--version"}), "tabfit " TABFIT_VERSION_STRING "\n");
}

TEST_F(Command, RefusesMissingAndUnknownSubcommands) {
  expect_failure(run_tabfit({}), 2, "a subcommand is needed (see tabfit --help)");
  expect_failure_with(run_tabfit({"bogus"}), 2, "bogus");
}

TEST_F(Command, RefusesUnknownOptionsAndSuperfluousArguments) {
  expect_failure_with(run_tabfit({"interpolate", titanium, "--at", "600", "--bogus"}), 2, "--bogus");
  expect_failure_with(run_tabfit({"interpolate", titanium, "extra", "--at", "600"}), 2, "extra");
  expect_failure_with(run_tabfit({"interpolate", "--at", "600"}), 2, "FILE is required");
}

TEST_F(Command, RefusesUnknownChoices) {
  expect_failure_with(run_tabfit({"interpolate", titanium, "--at", "600", "--method", "spline"}), 2,
                      "--method: spline not in {linear,cubic}");
  expect_failure_with(run_tabfit({"interpolate", titanium, "--at", "600", "--precision", "half"}), 2,
                      "--precision: half not in {double,single}");
  expect_failure_with(run_tabfit({"interpolate", titanium, "--at", "600", "--format", "xml"}), 2,
                      "--format: xml not in {csv,table,json}");
}

TEST_F(Command, NeedsEitherPointsOrAPointFile) {
  const std::string line =
      "either --at or --at-file is needed, and not both (see tabfit interpolate --help)";
  expect_failure(run_tabfit({"interpolate", titanium}), 2, line);
  expect_failure(run_tabfit({"interpolate", titanium, "--at", "600", "--at-file", titanium}), 2, line);
  expect_failure_with(run_tabfit({"interpolate", titanium, "--at"}), 2, "--at");
  expect_failure_with(run_tabfit({"interpolate", titanium, "--at", "600", "--at", "700"}), 2, "--at");
}

TEST_F(Command, RefusesEmptyOptions) {
  for (const char* option : {"--x", "--y", "--at", "--at-file", "--output"}) {
    Words words = {"interpolate", titanium, option, ""};
    if (std::string(option).find("--at") != 0) words = words + Words{"--at", "600"};
    expect_failure(run_tabfit(words), 2,
                   std::string(option) + " is empty (see tabfit interpolate --help)");
  }
}

TEST_F(Command, RefusesStandardInputForBothTableAndPoints) {
  expect_failure(run_tabfit({"interpolate", "-", "--at-file", "-"}), 2,
                 "FILE and --at-file are both standard input (see tabfit interpolate --help)");
}

TEST_F(Command, DerivativesNeedTheCubicMethod) {
  const std::string line = "--derivatives needs --method cubic (see tabfit interpolate --help)";
  expect_failure(run_tabfit({"interpolate", titanium, "--at", "600", "--derivatives"}), 2, line);
  expect_failure(
      run_tabfit({"interpolate", titanium, "--at", "600", "--derivatives", "--method", "linear"}), 2,
      line);
}

// -- where results go -------------------------------------------------------------------------------

TEST_F(Command, WritesAFileWithTheUsualPermissions) {
  const mode_t mask = umask(027);
  const Outcome outcome = interpolate(line_table, {"--at", "2", "--output", path("out.csv")});
  umask(mask);
  expect_output(outcome, "");
  EXPECT_EQ(content(path("out.csv")), "x,y\n2,20\n");
  EXPECT_EQ(fs::status(path("out.csv")).permissions(), fs::perms(0640));
  EXPECT_EQ(files(), 1U);
}

TEST_F(Command, ReplacesAFileAndKeepsItsPermissions) {
  const std::string out = write("out.csv", "old content, longer than the new one by far\n");
  fs::permissions(out, fs::perms(0604));
  expect_output(interpolate(line_table, {"--at", "2", "--output", out}), "");
  EXPECT_EQ(content(fs::path(out)), "x,y\n2,20\n");
  EXPECT_EQ(fs::status(out).permissions(), fs::perms(0604));
  EXPECT_EQ(files(), 1U);
}

TEST_F(Command, WritesThroughASymbolicLink) {
  fs::create_directory(path("far"));
  write("far/real.csv", "old\n");
  fs::create_symlink("far/real.csv", path("link.csv"));
  fs::create_symlink("link.csv", path("link-to-link.csv"));
  fs::create_symlink("far/new.csv", path("dangling.csv"));
  expect_output(interpolate(line_table, {"--at", "2", "--output", path("link-to-link.csv")}), "");
  expect_output(interpolate(line_table, {"--at", "1", "--output", path("dangling.csv")}), "");
  for (const char* link : {"link.csv", "link-to-link.csv", "dangling.csv"})
    EXPECT_TRUE(fs::is_symlink(path(link))) << link;
  EXPECT_EQ(content(path("far/real.csv")), "x,y\n2,20\n");
  EXPECT_EQ(content(path("far/new.csv")), "x,y\n1,10\n");
}

TEST_F(Command, RefusesASymbolicLinkThatLeadsNowhere) {
  fs::create_symlink("loop", path("loop"));
  expect_failure_with(interpolate(line_table, {"--at", "2", "--output", path("loop")}), 2,
                      "symbolic links");
  EXPECT_TRUE(fs::is_symlink(path("loop")));
}

TEST_F(Command, WritesToPipesAndOpenFilesDirectly) {
  const Words words = {"--at", "2", "--output", "/dev/stdout"};
  expect_output(interpolate(line_table, words), "x,y\n2,20\n");

  const std::string kept = write("kept.csv", "before\n");
  const std::string script =
      "'" TABFIT_COMMAND "' interpolate - --at 2 --output /dev/stdout >> " + kept;
  expect_output(run_program({"/bin/sh", "-c", script},
                            {.input = line_table, .environment = {}, .output_file = ""}),
                "");
  EXPECT_EQ(content(fs::path(kept)), "before\nx,y\n2,20\n");

  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  const std::string pipe = path("fifo");
  expect_output(run_program({"/bin/sh", "-c",
                             "cat " + pipe + " & '" TABFIT_COMMAND "' interpolate - --at 2 --output " +
                                 pipe + "; wait"},
                            {.input = line_table, .environment = {}, .output_file = ""}),
                "x,y\n2,20\n");
  EXPECT_TRUE(fs::is_fifo(path("fifo")));
}

TEST_F(Command, RefusesAnOutputThatCannotBeCreated) {
  const std::string inside = path("nowhere") / "out.csv", folder = path("folder");
  fs::create_directory(folder);
  expect_failure(interpolate(line_table, {"--at", "2", "--output", inside}), 2,
                 "cannot create " + inside + ": there is no directory " + path("nowhere").string());
  expect_failure(interpolate(line_table, {"--at", "2", "--output", folder}), 2,
                 "cannot create " + folder + ": it is a directory");
  if (geteuid() != 0) {  // everything is writable to root
    const std::string fixed = write("fixed.csv", "old\n");
    fs::permissions(fixed, fs::perms(0400));
    expect_failure(interpolate(line_table, {"--at", "2", "--output", fixed}), 2,
                   "cannot create " + fixed + ": Permission denied");
  }
}

TEST_F(Command, ReportsAFullDisk) {
  const Surroundings full{.input = line_table, .environment = {}, .output_file = "/dev/full"};
  expect_failure(run_tabfit({"interpolate", "-", "--at", "2"}, full), 1,
                 "cannot write standard output: No space left on device");
  expect_failure(run_tabfit({"--help"}, full), 1,
                 "cannot write standard output: No space left on device");
  expect_failure(interpolate(line_table, {"--at", "2", "--output", "/dev/full"}), 1,
                 "cannot write /dev/full: No space left on device");
}

TEST_F(Command, LeavesNothingOfAFileThatCannotBeWrittenInFull) {
  const std::string out = write("out.csv", "old\n");
  rlimit usual{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &usual), 0);
  const rlimit small{4096, usual.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const Outcome outcome = interpolate(line_table, {"--at", "0:3:5000", "--output", out});
  setrlimit(RLIMIT_FSIZE, &usual);
  expect_failure(outcome, 1, "cannot write " + out + ": File too large");
  EXPECT_EQ(content(fs::path(out)), "old\n");
  EXPECT_EQ(files(), 1U);
}

TEST_F(Command, LeavesTheOutputAsItWasOnEveryFailure) {
  const std::string out = write("out.csv", "old\n"), plot = path("plot.svg");
  const Words both = {"--output", out, "--plot", plot};
  EXPECT_EQ(interpolate(line_table, Words{"--at", "9"} + both).status, 1);
  EXPECT_EQ(interpolate("0,1\n0,2\n", Words{"--at", "0"} + both).status, 1);
  EXPECT_EQ(interpolate("0,1\n1,a\n", Words{"--at", "0"} + both).status, 2);
  EXPECT_EQ(interpolate(line_table, Words{"--at", "a"} + both).status, 2);
  EXPECT_EQ(content(fs::path(out)), "old\n");
  EXPECT_EQ(files(), 1U);
}

TEST_F(Command, WritesTheResultAndThePictureOrNeither) {
  const std::string out = write("out.csv", "old\n");
  const std::string nowhere = path("nowhere") / "plot.svg";
  EXPECT_EQ(interpolate(line_table, {"--at", "2", "--output", out, "--plot", nowhere}).status, 2);
  EXPECT_EQ(content(fs::path(out)), "old\n");

  const std::string plot = write("plot.svg", "old picture\n");
  EXPECT_EQ(interpolate(line_table, {"--at", "2", "--output", "/dev/full", "--plot", plot}).status, 1);
  EXPECT_EQ(run_tabfit({"interpolate", "-", "--at", "2", "--plot", plot},
                       {.input = line_table, .environment = {}, .output_file = "/dev/full"})
                .status,
            1);
  EXPECT_EQ(content(fs::path(plot)), "old picture\n");
  EXPECT_EQ(files(), 2U);
}

TEST_F(Command, RefusesOneFileForResultAndPicture) {
  const std::string both = path("both.svg");
  expect_failure(interpolate(line_table, {"--at", "2", "--output", both, "--plot", both}), 2,
                 "cannot write two results to " + both);
  EXPECT_EQ(files(), 0U);
}

TEST_F(Command, EndsQuietlyWhenTheReaderHasEnough) {
  const Outcome outcome = run_program(
      {"/bin/sh", "-c",
       "'" TABFIT_COMMAND "' interpolate '" + titanium + "' --at 595:1075:200000 | head -1"});
  expect_output(outcome, "temperature,property\n");
}

TEST_F(Command, PutsNoEscapeSequencesIntoItsOutput) {
  for (const Outcome& outcome :
       {run_tabfit({"--help"}), run_tabfit({"interpolate", "--help"}),
        run_tabfit({"interpolate", titanium, "--at", "600", "--format", "table"}),
        run_tabfit({"interpolate", titanium, "--at", "0"})})
    EXPECT_EQ((outcome.out + outcome.err).find('\x1B'), std::string::npos);
}

// -- pictures ---------------------------------------------------------------------------------------

TEST_F(Command, DrawsThePictureThatTheEndingNames) {
  const std::vector<std::pair<std::string, std::string>> kinds = {
      {"plot.svg", "<?xml"}, {"plot.PNG", "\x89PNG"}, {"plot.pdf", "%PDF"}};
  for (const auto& [name, start] : kinds) {
    const Outcome outcome =
        run_tabfit({"interpolate", titanium, "--at", "600", "--plot", path(name), "--method", "cubic"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(outcome.out.starts_with("temperature,property\n600,"));
    EXPECT_TRUE(content(path(name)).starts_with(start)) << name;
  }
  EXPECT_EQ(files(), kinds.size());
}

TEST_F(Command, PictureNamesItsAxesCurvesAndSource) {
  for (const std::string method : {"linear", "cubic"}) {
    ASSERT_EQ(run_tabfit(
                  {"interpolate", titanium, "--at", "600", "--plot", path("p.svg"), "--method", method})
                  .status,
              0);
    const std::string svg = content(path("p.svg"));
    for (const char* text : {">temperature<", ">property<", ">first derivative<", ">linear<",
                             ">cubic spline<", ">table<", ">interpolated<"})
      EXPECT_NE(svg.find(text), std::string::npos) << method << ' ' << text;
    const std::string title =
        method == "linear" ? ">titanium.csv: linear interpolation<" : ">titanium.csv: cubic spline<";
    EXPECT_NE(svg.find(title), std::string::npos);
  }
}

TEST_F(Command, DrawsNoSplineThroughATableTooNarrowForIt) {
  ASSERT_EQ(
      interpolate("0,1\n1,2\n1.000000001,5\n2,3\n", {"--at", "0.5", "--plot", path("p.svg")}).status,
      0);
  const std::string svg = content(path("p.svg"));
  EXPECT_NE(svg.find(">linear<"), std::string::npos);
  EXPECT_EQ(svg.find(">cubic spline<"), std::string::npos);
}

TEST_F(Command, TakesNamesLiterallyInAPicture) {
  const std::string table = write("it's a \"table\" `id` @x.csv",
                                  "\"T_{max}^2 @x `id` it's \\n %d <b>\",\"two\nlines\"\n0,0\n1,1\n");
  const std::string plot = path("it's a \"plot\" $HOME.svg");
  const Outcome outcome = run_tabfit({"interpolate", table, "--at", "0.5", "--plot", plot});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  const std::string svg = content(fs::path(plot));
  for (const char* text : {">it's a \"table\" `id` @x.csv: linear interpolation<",
                           ">T_{max}^2 @x `id` it's \\n %d &lt;b><", ">two lines<"})
    EXPECT_NE(svg.find(text), std::string::npos) << text;
}

TEST_F(Command, RefusesAPictureOfAnUnknownKind) {
  for (const std::string name : {"plot.jpg", "plot", "svg", ""})
    expect_failure(run_tabfit({"interpolate", titanium, "--at", "600", "--plot", name}), 2,
                   "--plot: the name must end in .svg, .png or .pdf: '" + name + "'");
}

TEST_F(Command, SaysWhatIsMissingWhenThereIsNoGnuplot) {
  const std::string out = path("out.csv"), plot = path("plot.svg");
  expect_failure(run_tabfit({"interpolate", titanium, "--at", "600", "--plot", plot, "--output", out},
                            {.input = "", .environment = {"PATH=/nonexistent"}, .output_file = ""}),
                 1, "a plot needs the program gnuplot: install the Debian package gnuplot-nox");
  EXPECT_EQ(files(), 0U);
}

TEST_F(Command, ReportsWhatGnuplotComplainsOf) {
  const std::string broken =
      write("gnuplot", "#!/bin/sh\necho '         line 3: no such terminal' >&2\nexit 1\n");
  fs::permissions(broken, fs::perms(0755));
  expect_failure(
      run_tabfit({"interpolate", titanium, "--at", "600", "--plot", path("plot.svg")},
                 {.input = "", .environment = {"PATH=" + path("").string()}, .output_file = ""}),
      1, "gnuplot failed: line 3: no such terminal");
  EXPECT_EQ(files(), 1U);
}

// -- size -------------------------------------------------------------------------------------------

TEST_F(Command, ReadsAHundredThousandRowsQuickly) {
  std::string table = "x,y\n";
  for (int i = 0; i < 100'000; ++i)
    table += std::to_string(i) + ',' + shortest(std::sin(i * 0.001)) + '\n';
  const std::string file = write("large.csv", table);
  const auto start = std::chrono::steady_clock::now();
  const Outcome outcome =
      run_tabfit({"interpolate", file, "--at", "0:99999:100000", "--method", "cubic", "--derivatives"});
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 100'001);
  EXPECT_LT(time.count(), 5.0);  // usually half a second, more with sanitizers or on busy machines
}

}  // namespace
