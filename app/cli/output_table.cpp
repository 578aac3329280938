/* Tables for people. Columns take what they need; when the line is too short, the less important ones are left out and the
 * long ones are cut, the widest first. All text goes through safe(). */
#include <algorithm>
#include <cstdio>
#include <ctime>

#include "cli/output.h"
#include "core/text_safe.h"

namespace app {

namespace {

constexpr size_t gap = 2;
constexpr size_t narrowest = 12;  // a cut column shows at least so much, as long as others can be left out for it

struct column {
  std::string title;
  enum { text, number } kind;
  int importance;  // 0: never left out; otherwise the highest goes first
  std::vector<std::string> cells;
  size_t width = 0;
};

struct table {
  std::vector<column> columns;
  std::vector<std::string> notes;  // below each row; none or one for each

  void add_row(const std::vector<std::string>& cells) {
    for (size_t i = 0; i < columns.size(); ++i) columns[i].cells.push_back(safe(cells[i]));
  }
};

size_t line_width(const std::vector<column>& columns, size_t cap) {
  size_t width = columns.empty() ? 0 : gap * (columns.size() - 1);
  for (const column& c : columns) width += c.kind == column::text ? std::min(c.width, cap) : c.width;
  return width;
}

/** Settles the columns and their widths for a line. */
void lay_out(std::vector<column>& columns, size_t line) {
  for (column& c : columns) {
    c.width = display_width(c.title);
    for (const std::string& cell : c.cells) c.width = std::max(c.width, display_width(cell));
  }

  while (line_width(columns, narrowest) > line) {
    const auto least = std::max_element(columns.begin(), columns.end(),
                                        [](const column& a, const column& b) { return a.importance < b.importance; });
    if (least == columns.end() || least->importance == 0) break;
    columns.erase(least);
  }

  size_t cap = line;
  while (cap > 1 && line_width(columns, cap) > line) --cap;
  for (column& c : columns)
    if (c.kind == column::text) c.width = std::min(c.width, cap);
}

std::string styled(const std::string& text, const char* style, const terminal& where) {
  return where.colours ? std::string("\x1b[") + style + 'm' + text + "\x1b[0m" : text;
}

/** One line; `cell` gives the text of each column. */
template <class Cell>
std::string row_of(const std::vector<column>& columns, const terminal& where, Cell cell) {
  std::string line;
  for (const column& c : columns) {
    const std::string text = fit(cell(c), c.width);
    const std::string blanks(c.width - std::min(c.width, display_width(text)), ' ');
    if (!line.empty()) line.append(gap, ' ');
    line += c.kind == column::number ? blanks + text : text + blanks;
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return fit(line, where.width);
}

/** Breaks a text at its blanks into lines. */
std::string wrapped(const std::string& note, const std::string& indent, const terminal& where) {
  std::string lines, line;
  size_t at = 0;
  while (at < note.size()) {
    const size_t end = std::min(note.find(' ', at), note.size());
    const std::string word = note.substr(at, end - at);
    at = end + 1;
    if (!line.empty() && display_width(indent + line) + 1 + display_width(word) > where.width) {
      lines += styled(fit(indent + line, where.width), "2", where) + '\n';
      line.clear();
    }
    line += (line.empty() ? "" : " ") + word;
  }
  if (!line.empty()) lines += styled(fit(indent + line, where.width), "2", where) + '\n';
  return lines;
}

std::string rendered(table shown, const terminal& where) {
  const size_t rows = shown.columns.front().cells.size();
  lay_out(shown.columns, where.width);

  std::string text = styled(row_of(shown.columns, where, [](const column& c) { return c.title; }), "1", where) + '\n';
  for (size_t row = 0; row < rows; ++row) {
    text += row_of(shown.columns, where, [row](const column& c) { return c.cells[row]; }) + '\n';
    if (row < shown.notes.size()) text += wrapped(shown.notes[row], where.width > 40 ? "    " : " ", where);
  }
  return text;
}

std::string length_of(const item& track) {
  if (!track.duration_seconds) return {};
  const long seconds = *track.duration_seconds, minutes = seconds / 60;
  char text[64];
  if (minutes < 60)
    std::snprintf(text, sizeof text, "%ld:%02ld", minutes, seconds % 60);
  else
    std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", minutes / 60, minutes % 60, seconds % 60);
  return text;
}

std::string year_of(const item& track) { return track.year ? std::to_string(*track.year) : std::string(); }

/** A moment where the person is. */
std::string moment_of(uint64_t seconds) {
  const auto moment = static_cast<time_t>(seconds);
  tm parts = {};
  char text[32];
  return localtime_r(&moment, &parts) && std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &parts) > 0 ? text : "";
}

/** What the request was made from, in one line. */
std::string heading(const origin& from) {
  std::string text;
  for (const item& seed : from.seeds) text += (text.empty() ? "From " : ", ") + description(seed);
  std::string filters;
  for (const auto& [kind, name] : from.filters) filters += (filters.empty() ? "" : ", ") + kind + ' ' + name;
  if (!filters.empty()) text += (text.empty() ? "From " : "; ") + filters;
  if (from.invented) text += " (demonstration catalogue: the artists are invented)";
  return safe(text);
}

std::string decimal(const std::optional<double>& value, int digits) {
  char text[32] = "";
  if (value) std::snprintf(text, sizeof text, "%.*f", digits, *value);
  return text;
}

std::vector<std::string> sonic_cells(const heard& sound) {
  return {decimal(sound.tempo, 0), key_name(sound), decimal(sound.loudness, 1), decimal(sound.energy, 2),
          decimal(sound.brightness, 0)};
}

}  // namespace

std::string table_of_sound(const item& track, const velox_sound& sound, const std::vector<alike>& near,
                           const terminal& where) {
  const heard values = heard_in(sound);
  const std::pair<const char*, std::string> rows[] = {
      {"tempo", values.tempo ? decimal(values.tempo, 1) + " BPM" : "no beat is found"},
      {"key", values.key ? key_name(values) : "none"},
      {"loudness",
       decimal(values.loudness, 1) + " LUFS, range " + decimal(static_cast<double>(sound.range), 1) + " LU"},
      {"energy", decimal(values.energy, 2)},
      {"brightness", decimal(values.brightness, 0) + " Hz"}};
  std::string text = styled(safe(description(track)), "1", where) + '\n';
  for (const auto& [name, value] : rows) text += wrapped(name + (": " + value), "  ", where);
  if (near.empty()) return text;
  table shown{{{"Distance", column::number, 0, {}},
               {"Sounds like it", column::text, 0, {}},
               {"Artist", column::text, 1, {}},
               {"BPM", column::number, 2, {}},
               {"Key", column::text, 2, {}}},
              {}};
  for (const alike& each : near)
    shown.add_row({decimal(each.distance, 3), each.shown.title, each.shown.artist, decimal(each.shown.sound.tempo, 0),
                   key_name(each.shown.sound)});
  return text + '\n' + rendered(std::move(shown), where);
}

std::string heading_of(const origin& from, const terminal& where) { return wrapped(heading(from), "", where); }

std::string table_of_tracks(const std::vector<item>& tracks, bool explain, const terminal& where, bool sonic) {
  table shown{{{"#", column::number, 0, {}},
               {"Title", column::text, 0, {}},
               {"Artist", column::text, 0, {}},
               {"Album", column::text, 3, {}},
               {"Year", column::number, 2, {}},
               {"Length", column::number, 1, {}}},
              {}};
  if (sonic)
    shown.columns.insert(shown.columns.end(), {{"BPM", column::number, 0, {}},
                                               {"Key", column::text, 0, {}},
                                               {"LUFS", column::number, 4, {}},
                                               {"Energy", column::number, 5, {}},
                                               {"Hz", column::number, 6, {}}});
  size_t position = 0;
  for (const item& track : tracks) {
    std::vector<std::string> cells = {
        std::to_string(++position), track.title, track.artist, track.album, year_of(track), length_of(track)};
    if (sonic)
      for (const std::string& cell : sonic_cells(track.sound)) cells.push_back(cell);
    shown.add_row(cells);
    if (explain) shown.notes.push_back(safe(track.reason));
  }
  return rendered(std::move(shown), where);
}

std::string table_of(const std::vector<item>& found, const terminal& where) {
  std::string text;
  for (const item_kind kind : {item_kind::track, item_kind::album, item_kind::artist}) {
    table shown;
    switch (kind) {
      case item_kind::track:
        shown.columns = {{"Track", column::text, 0, {}},
                         {"Artist", column::text, 0, {}},
                         {"Album", column::text, 2, {}},
                         {"Year", column::number, 1, {}}};
        break;
      case item_kind::album:
        shown.columns = {{"Album", column::text, 0, {}}, {"Artist", column::text, 0, {}}};
        break;
      case item_kind::artist:
        shown.columns = {{"Artist", column::text, 0, {}}};
    }
    for (const item& one : found) {
      if (one.kind != kind) continue;
      if (kind == item_kind::artist)
        shown.add_row({one.artist});
      else
        shown.add_row({one.title, one.artist, one.album, year_of(one)});
    }
    if (shown.columns.front().cells.empty()) continue;
    text += (text.empty() ? "" : "\n") + rendered(std::move(shown), where);
  }
  return text;
}

std::string table_of(const std::vector<named_list>& lists, const terminal& where) {
  std::string text;
  for (const named_list& list : lists) {
    std::string title = list.name;
    title.front() = static_cast<char>(title.front() - 'a' + 'A');
    table shown{{{title, column::text, 0, {}}, {"Tracks", column::number, 1, {}}}, {}};
    for (const list_row& row : list.rows) shown.add_row({row.name, std::to_string(row.tracks)});
    text += (text.empty() ? "" : "\n") + rendered(std::move(shown), where);
  }
  return text;
}

std::string table_of(const std::vector<playlist_track>& tracks, size_t most, const terminal& where) {
  std::vector<item> first;
  for (size_t i = 0; i < tracks.size() && i < most; ++i) first.push_back(tracks[i].shown);
  return table_of_tracks(first, true, where);
}

std::string table_of(const std::vector<station_row>& stations, const terminal& where) {
  table shown{{{"Station", column::number, 0, {}},
               {"Name", column::text, 0, {}},
               {"Played", column::number, 2, {}},
               {"Skipped", column::number, 4, {}},
               {"Liked", column::number, 2, {}},
               {"Banned", column::number, 3, {}},
               {"Last used", column::number, 1, {}}},
              {}};
  for (const station_row& row : stations)
    shown.add_row({row.id, row.name, std::to_string(row.played), std::to_string(row.skipped), std::to_string(row.liked),
                   std::to_string(row.disliked), moment_of(row.used)});
  return rendered(std::move(shown), where);
}

std::string table_of(const std::vector<history_row>& history, const terminal& where) {
  table shown{{{"Time", column::number, 1, {}},
               {"Event", column::number, 0, {}},
               {"Title", column::text, 0, {}},
               {"Artist", column::text, 0, {}}},
              {}};
  for (const history_row& row : history) shown.add_row({moment_of(row.time), spoken(row.event), row.title, row.artist});
  return rendered(std::move(shown), where);
}

std::string spoken(std::string event) {
  std::ranges::replace(event, '-', ' ');
  return event;
}

std::string line_of(const item& track, const terminal& where) {
  std::string text = description(track);
  for (const std::string& part : {track.album, year_of(track), length_of(track)})
    if (!part.empty()) text += ", " + part;
  return styled("> " + safe(text), "1", where) + '\n' + wrapped(safe(track.reason), "  ", where);
}

std::string details_of(const item& track, const terminal& where) {
  const auto joined = [](const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) all += (all.empty() ? "" : ", ") + text;
    return all;
  };
  const std::pair<const char*, std::string> parts[] = {
      {"why", track.reason},
      {"score", track.score ? std::to_string(*track.score) : ""},
      {"genres", joined(track.genres)},
      {"moods", joined(track.moods)},
      {"era", track.era},
      {"popularity", track.popularity ? std::to_string(*track.popularity) : ""},
      {"file", track.location}};
  std::string text = safe(description(track)) + '\n';
  for (const auto& [name, value] : parts)
    if (!value.empty()) text += wrapped(name + (": " + safe(value)), "  ", where);
  return text;
}

}  // namespace app
