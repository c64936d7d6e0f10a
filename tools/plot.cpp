// tools/plot.cpp - a picture of one or more panels over a common axis, drawn by gnuplot.
#include "tools/plot.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <sstream>
#include <system_error>

#include "tools/failure.hpp"
#include "tools/files.hpp"
#include "tools/number.hpp"
#include "tools/output.hpp"

namespace tabfit::tool {
using namespace std::string_literals;
namespace {

// -- the script -------------------------------------------------------------------------------------

std::string ending(const std::string& name) {
  std::string text = std::filesystem::path(name).extension().string();
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

/// The terminal for the ending of a file name; empty for any other ending. All three terminals draw the
/// same proportions, and take text literally.
std::string terminal(const std::string& name) {
  const std::string kind = ending(name);
  if (kind == ".svg")
    return "svg noenhanced size 960,780 font 'sans-serif,15' dashlength 1.5 background 'white'";
  if (kind == ".png")
    return "pngcairo noenhanced size 1440,1170 font 'Sans,12' fontscale 1.5 linewidth 1.6 pointscale "
           "1.5";
  if (kind == ".pdf")
    return "pdfcairo noenhanced size 16cm,13cm font 'Sans,9' fontscale 0.62 linewidth 0.8 pointscale "
           "0.5";
  return "";
}

const char* colour(Hue hue) {
  switch (hue) {
    case Hue::blue:
      return "rgb '#0072B2'";
    case Hue::red:
      return "rgb '#D55E00'";
    case Hue::green:
      return "rgb '#009E73'";
    default:
      return "rgb '#000000'";
  }
}

std::string style(const Series& series, const std::string& name) {
  const bool crowded = series.points.size() > 100;
  const double unit = ending(name) == ".svg" ? 0.6 : 1.0;  // this terminal cannot scale symbols
  const std::string hue = "lc "s + colour(series.hue);
  switch (series.look) {
    case Look::data:
      return "with points pt 7 ps " + shortest(unit * (crowded ? 0.4 : 1.0)) + ' ' + hue;
    case Look::points:
      return "with points pt 13 ps " + shortest(unit * (crowded ? 0.6 : 1.6)) + ' ' + hue;
    case Look::sticks:
      return "with impulses lw " + shortest(crowded ? 1.0 : 2.0) + ' ' + hue;
    case Look::main_line:
      return "with lines lw 2.5 " + hue;
    default:
      return "with lines lw 1.5 dt 2 " + hue;
  }
}

/// A string in gnuplot's single quotes, where only the quote itself is special.
std::string literal(const std::string& text) {
  std::string quoted = "'";
  for (const char c : printable(text)) quoted += c == '\'' ? "''" : std::string(1, c);
  return quoted + "'";
}

std::string data_block(const Series& series, const std::string& name) {
  std::string block = name + " << END_OF_DATA\n";
  for (const auto& [x, y] : series.points)
    if (std::isfinite(x) && std::isfinite(y))
      block += shortest(x) + ' ' + shortest(y) + '\n';
    else
      block += '\n';
  return block + "END_OF_DATA\n";
}

/// Symbols beyond some thousand only darken the picture and swell its file.
std::size_t thinning(const Series& series) {
  constexpr std::size_t most_symbols = 1500;
  const bool symbols = series.look == Look::data || series.look == Look::points;
  return symbols ? 1 + series.points.size() / most_symbols : 1;
}

// In shares of the picture's width and height.
constexpr double left = 0.12, right = 0.97, title_height = 0.965, key_height = 0.925;
constexpr double highest = 0.895, lowest = 0.09, between = 0.035;

std::string preamble(const Picture& picture, const std::string& name) {
  std::ostringstream out;
  const double margin = 0.02 * (picture.last - picture.first);
  out << "set encoding utf8\n"
      << "set terminal " << terminal(name) << '\n'
      << "set xrange [" << shortest(picture.first - margin) << ':' << shortest(picture.last + margin)
      << "]\n"
      << "set autoscale yfix\nset offsets 0, 0, graph 0.06, graph 0.06\n"
      << "set grid lc rgb '#D8D8D8' lt 1 lw 0.6\nset xzeroaxis lc rgb '#808080' lt 1 lw 0.8\n"
      << "set border lw 0.8\nset tics nomirror out scale 0.6\n"
      << "set lmargin at screen " << left << "\nset rmargin at screen " << right << '\n';
  for (std::size_t i = 0; i < picture.panels.size(); ++i)
    for (std::size_t k = 0; k < picture.panels[i].series.size(); ++k)
      out << data_block(picture.panels[i].series[k],
                        "$p" + std::to_string(i) + "_" + std::to_string(k));
  return out.str();
}

/// One panel between two heights. The highest one carries the key, in which every hue has its name.
std::string panel_script(const Picture& picture, const std::string& name, std::size_t i, double bottom,
                         double top) {
  const Panel& panel = picture.panels[i];
  const bool is_first = i == 0, is_last = i + 1 == picture.panels.size();
  constexpr double middle = (left + right) / 2;
  std::ostringstream out;
  out << "set tmargin at screen " << top << "\nset bmargin at screen " << bottom << '\n'
      << "set label 1 " << literal(panel.y_label)
      << " at screen 0.025, graph 0.5 center rotate by 90\n";
  if (is_first)
    out << "set label 2 " << literal(picture.title) << " at screen " << middle << ", screen "
        << title_height << " center\n"
        << "set key at screen " << middle << ", screen " << key_height
        << " center center horizontal reverse Left samplen 3 maxrows 1\n";
  else
    out << "unset label 2\nunset key\n";
  out << (is_last ? "set format x '%.12g'\nset xlabel " + literal(picture.x_label) : "set format x ''")
      << "\nplot ";
  for (std::size_t k = 0; k < panel.series.size(); ++k) {
    const Series& series = panel.series[k];
    const std::size_t every = thinning(series);
    const std::string title = series.title + (every > 1 ? " (1 of " + std::to_string(every) + ")" : "");
    out << (k > 0 ? ", " : "") << "$p" << i << '_' << k << " every " << every << ' '
        << style(series, name) << " title " << literal(title);
  }
  out << '\n';
  return out.str();
}

std::string script(const Picture& picture, const std::string& name) {
  std::string text = preamble(picture, name) + "set multiplot\n";
  const double usable = highest - lowest - between * double(picture.panels.size() - 1);
  double top = highest;
  for (std::size_t i = 0; i < picture.panels.size(); ++i) {
    const double bottom = top - usable * picture.panels[i].height;
    text += panel_script(picture, name, i, bottom, top);
    top = bottom - between;
  }
  return text + "unset multiplot\n";
}

// -- the process ------------------------------------------------------------------------------------

using Scratch = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

Scratch scratch_file(const std::string& content) {
  Scratch file(std::tmpfile(), std::fclose);
  if (!file || std::fwrite(content.data(), 1, content.size(), file.get()) != content.size() ||
      std::fflush(file.get()) != 0)
    throw NoResult("cannot write a temporary file: " + std::generic_category().message(errno));
  std::rewind(file.get());
  return file;
}

/// The complaint of gnuplot: the last line that says something. The lines before it repeat the script.
std::string complaint(const std::string& text) {
  std::istringstream lines(text);
  std::string line, last;
  while (std::getline(lines, line))
    if (const auto start = line.find_first_not_of(" \t^"); start != std::string::npos)
      last = line.substr(start);
  return last;
}

/// The script and the messages of gnuplot go through scratch files, and only the picture through a
/// pipe: with one pipe the two sides cannot wait for each other.
std::string run_gnuplot(const std::string& input) {
  const Scratch script = scratch_file(input), messages = scratch_file("");
  int picture[2] = {-1, -1};
  if (::pipe2(picture, O_CLOEXEC) != 0)
    throw NoResult("cannot run gnuplot: " + std::generic_category().message(errno));

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fileno(script.get()), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, picture[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fileno(messages.get()), STDERR_FILENO);
  std::string name = "gnuplot", settings = "--default-settings", from = "/dev/stdin";
  const std::array<char*, 4> arguments = {name.data(), settings.data(), from.data(), nullptr};
  pid_t process = 0;
  const int error = posix_spawnp(&process, name.c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(picture[1]);
  std::string image = read_open_file(picture[0], "the picture");
  ::close(picture[0]);
  if (error == ENOENT)
    throw NoResult("a plot needs the program gnuplot: install the Debian package gnuplot-nox");
  if (error != 0) throw NoResult("cannot run gnuplot: " + std::generic_category().message(error));

  int status = 0;
  while (::waitpid(process, &status, 0) < 0 && errno == EINTR) continue;
  if (status == 0 && !image.empty()) return image;
  std::rewind(messages.get());
  throw NoResult("gnuplot failed: " +
                 complaint(read_open_file(fileno(messages.get()), "its messages")));
}

}  // namespace

void check_picture_name(const std::string& name) {
  if (terminal(name).empty())
    throw BadInput("--plot: the name must end in .svg, .png or .pdf: " + quoted(name));
}

std::string drawn(const Picture& picture, const std::string& name) {
  return run_gnuplot(script(picture, name));
}

}  // namespace tabfit::tool
