/* The program cadenz: a radio from one's own music. This file holds the command line; each command has a file of its own. */
#include <CLI/CLI.hpp>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <exception>
#include <iostream>
#include <map>
#include <sstream>

#include "cli/commands.h"
#include "core/options.h"
#include "core/session.h"
#include "core/text.h"
#include "terminal/child.h"
#include "terminal/terminal.h"

namespace {

using namespace app;

constexpr const char* examples =
    "Examples:\n"
    "  cadenz scan ~/Music                             take in a folder; run it again for what changed\n"
    "  cadenz search miles davis                       what is there to start from\n"
    "  cadenz lists genres\n"
    "  cadenz recommend --artist \"Nina Simone\" --mood calm --count 30\n"
    "  cadenz recommend --track \"Nina Simone - Sinnerman\" --album \"Kind of Blue\" --explain\n"
    "  cadenz recommend --genre jazz --era 1960s -o jazz.m3u\n"
    "  cadenz radio --artist \"Nina Simone\" --player \"mpv --no-video\"\n"
    "  cadenz stations                                 what to go on with: cadenz radio --station ID\n"
    "\n"
    "The catalogue is a file: --catalog, else $CADENZ_CATALOG, else cadenz/catalog.db in $XDG_DATA_HOME or\n"
    "~/.local/share. Exit status: 0 fine, 1 something failed, 2 wrong usage. More: man cadenz";

/** Without the description, which help would repeat. */
CLI::Validator whole_number(int least, int most) { return CLI::Range(least, most).description(""); }

std::string names_something(const std::string& text) { return text.empty() ? "an empty text names nothing" : ""; }

/** Several occurrences, one value each. */
CLI::Option* add_repeatable(CLI::App* command, const char* name, std::vector<std::string>& values, const char* help) {
  return command->add_option(name, values, help)
      ->type_name("TEXT")
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->check(names_something, "");
}

struct seed_options {
  std::vector<std::string> tracks, albums, artists;
  std::map<const CLI::Option*, std::pair<item_kind, const std::vector<std::string>*>> kinds;

  void add_to(CLI::App* command) {
    const auto add = [&](const char* name, item_kind kind, std::vector<std::string>& values, const char* help) {
      kinds[add_repeatable(command, name, values, help)->group("Seeds (six at most)")] = {kind, &values};
    };
    add("--track", item_kind::track, tracks, "A track to start from: its title, or \"Artist - Title\"; repeatable");
    add("--album", item_kind::album, albums, "An album to start from, in the same way; repeatable");
    add("--artist", item_kind::artist, artists, "An artist to start from; repeatable");
  }

  /** The seeds in the order of the command line. */
  std::vector<named_seed> in_order(const CLI::App* command) const {
    std::vector<named_seed> seeds;
    std::map<const CLI::Option*, size_t> taken;
    for (const CLI::Option* option : command->parse_order())
      if (const auto known = kinds.find(option); known != kinds.end())
        seeds.push_back({known->second.first, known->second.second->at(taken[option]++)});
    return seeds;
  }
};

/** The command line as it was read: which command, and its request. */
struct command_line {
  std::string catalog;
  scan_request scan;
  search_request search;
  lists_request lists;
  sound_request sound;
  recommend_request recommend;
  radio_request radio;
  serve_request serve;
  stations_request stations;
  seed_options seeds_of_recommend, seeds_of_radio;
  std::vector<std::string> words;
  int (*run)(const command_line&) = nullptr;
};

void add_catalog(CLI::App* command, command_line& line) {
  command->add_option("--catalog", line.catalog, "The catalogue's file")->type_name("FILE");
}

void add_scan(CLI::App& program, command_line& line) {
  CLI::App* command = program.add_subcommand("scan", "Take in folders of music, audio files or tab-separated files");
  add_catalog(command, line);
  command
      ->add_option("PLACE", line.scan.places,
                   "Folder (FLAC, MP3, Ogg Vorbis, Opus, M4A), audio file, .tsv file, or - for one on standard input")
      ->required()
      ->type_name("");
  command->add_flag("--no-sound", line.scan.no_sound, "Don't listen to the music");
  command->add_option("--jobs", line.scan.jobs, "Listen to so many files at once (as many as there are cores)")
      ->check(whole_number(1, 256))
      ->type_name("N");
  command
      ->add_option("--shortest", line.scan.shortest,
                   "Never recommend files shorter than so many seconds (30); kept in the catalogue")
      ->check(whole_number(0, 86400))
      ->type_name("SECONDS");
  command->callback(
      [&line] { line.run = [](const command_line& l) { return scan(catalog_path(l.catalog), l.scan); }; });
}

void add_search(CLI::App& program, command_line& line) {
  CLI::App* command = program.add_subcommand("search", "Find tracks, albums and artists by the words of their names");
  add_catalog(command, line);
  command->add_option("TEXT", line.words, "Words, or beginnings of words")->required()->type_name("");
  command->add_flag("--tracks", line.search.tracks, "Tracks only");
  command->add_flag("--albums", line.search.albums, "Albums only");
  command->add_flag("--artists", line.search.artists, "Artists only");
  command->add_option("--limit", line.search.limit, "At most so many of each kind (20)")
      ->check(whole_number(1, 10000))
      ->type_name("N");
  command->add_flag("--json", line.search.json, "As JSON");
  command->callback([&line] {
    line.search.text = CLI::detail::join(line.words, " ");
    line.run = [](const command_line& l) { return search(catalog_path(l.catalog), l.search); };
  });
}

void add_lists(CLI::App& program, command_line& line) {
  CLI::App* command = program.add_subcommand("lists", "Show the genres, moods and eras of the catalogue");
  add_catalog(command, line);
  command->add_option("LIST", line.lists.names, "genres, moods or eras; all of them when none is named")
      ->check(CLI::IsMember({"genres", "moods", "eras"}).description(""))
      ->type_name("");
  command->add_flag("--json", line.lists.json, "As JSON");
  command->callback(
      [&line] { line.run = [](const command_line& l) { return lists(catalog_path(l.catalog), l.lists); }; });
}

void add_sound(CLI::App& program, command_line& line) {
  CLI::App* command = program.add_subcommand("sound", "Show what a track sounds like, and what sounds like it");
  add_catalog(command, line);
  command->add_option("TRACK", line.words, "A track: its title, or \"Artist - Title\"")->required()->type_name("");
  command->add_option("--limit", line.sound.limit, "At most so many that sound like it (10)")
      ->check(whole_number(0, 64))
      ->type_name("N");
  command->add_flag("--json", line.sound.json, "As JSON");
  command->callback([&line] {
    line.sound.track = CLI::detail::join(line.words, " ");
    line.run = [](const command_line& l) { return sound(catalog_path(l.catalog), l.sound); };
  });
}

std::string name_of(const char* key) { return std::string("--") + option_of(key).name; }

/** A number that becomes an option of the query. */
void add_query_option(CLI::App* command, const char* key, start_request& request, int least) {
  const std::string help = option_of(key).help + (least > 0 ? ", " + std::to_string(least) + " to 1000" : "");
  command
      ->add_option_function<uint32_t>(
          name_of(key), [&request, key](uint32_t value) { request.options.emplace_back(key, std::to_string(value)); },
          help)
      ->check(whole_number(least, 1000))
      ->type_name("N")
      ->group("Choice");
}

/** A catalogue filter as a path is made absolute, as the catalogue knows it. */
std::string catalog_filter(const std::string& text) {
  const bool relative = text == "." || text == ".." || text.rfind("./", 0) == 0 || text.rfind("../", 0) == 0;
  if (!relative) return text;
  return std::filesystem::absolute(text).lexically_normal().string();
}

/** The seeds, filters and choices that recommendations and stations have in common. */
void add_start(CLI::App* command, seed_options& seeds, start_request& request) {
  seeds.add_to(command);
  add_repeatable(command, "--genre", request.genres, "Only this genre; repeatable")->group("Filters");
  add_repeatable(command, "--mood", request.moods, "Only this mood; repeatable")->group("Filters");
  add_repeatable(command, "--era", request.eras, "Only this era, such as 1990s, 90s or 1994; repeatable")
      ->group("Filters");

  add_query_option(command, VELOX_CADENZ_OPTION_RETURN_COUNT, request, 1);
  add_query_option(command, VELOX_CADENZ_OPTION_FOCUS_POPULARITY, request, 0);
  add_query_option(command, VELOX_CADENZ_OPTION_FOCUS_SIMILARITY, request, 0);
  command
      ->add_option_function<std::string>(
          name_of(VELOX_CADENZ_OPTION_CATALOG_FILTER),
          [&request](const std::string& value) {
            request.options.emplace_back(VELOX_CADENZ_OPTION_CATALOG_FILTER, catalog_filter(value));
          },
          option_of(VELOX_CADENZ_OPTION_CATALOG_FILTER).help)
      ->type_name("WHAT")
      ->group("Choice");
  command->add_option("--timeout", request.timeout_seconds, "Give up after so many seconds")
      ->check(CLI::Range(0.0, 86400.0).description(""))
      ->type_name("SECONDS")
      ->group("Choice");
}

/** Takes over the seeds of a command line that was read. */
void take_seeds(const CLI::App* command, const seed_options& seeds, start_request& request) {
  request.seeds = seeds.in_order(command);
  if (request.seeds.size() > VELOX_CADENZ_MAX_SEEDS) throw CLI::ValidationError("there can be six seeds at most");
}

/** The form that a file's name ends in; a table for others. */
form form_of(const std::string& file) {
  const std::string ending = lower(std::filesystem::path(file).extension().string());
  if (ending == ".m3u" || ending == ".m3u8") return form::m3u;
  if (ending == ".xspf") return form::xspf;
  return ending == ".json" ? form::json : form::table;
}

void add_recommend(CLI::App& program, command_line& line) {
  CLI::App* command = program.add_subcommand("recommend", "Recommend tracks from seeds, narrowed by filters");
  recommend_request& request = line.recommend;
  add_catalog(command, line);
  add_start(command, line.seeds_of_recommend, request.start);
  add_query_option(command, VELOX_CADENZ_OPTION_MAX_TRACKS_PER_ARTIST, request.start, 1);
  command
      ->add_option_function<std::string>(
          name_of(VELOX_CADENZ_OPTION_ROTATION_RADIO),
          [&request](const std::string& value) {
            request.start.options.emplace_back(VELOX_CADENZ_OPTION_ROTATION_RADIO, value == "radio" ? "1" : "0");
          },
          option_of(VELOX_CADENZ_OPTION_ROTATION_RADIO).help)
      ->check(CLI::IsMember({"radio", "none"}).description(""))
      ->type_name("HOW")
      ->group("Choice");

  const auto add_form = [&](const char* name, form output, const char* help) {
    return command
        ->add_flag_callback(
            name, [&request, output] { request.output = output; }, help)
        ->group("Output");
  };
  CLI::Option* json = add_form("--json", form::json, "As JSON, reasons included");
  CLI::Option* m3u = add_form("--m3u", form::m3u, "As an M3U playlist");
  CLI::Option* xspf = add_form("--xspf", form::xspf, "As an XSPF playlist");
  json->excludes(m3u, xspf);
  m3u->excludes(xspf);
  command
      ->add_option("-o,--output", request.file,
                   "Into this file, in the form that its name ends in unless another is given")
      ->type_name("FILE")
      ->group("Output");
  command->add_flag("--explain", request.explain, "Say for every track why it is there")->group("Output");
  command
      ->add_flag_callback(
          "--sonic",
          [&request] {
            request.sonic = true;
            request.start.options.emplace_back(VELOX_CADENZ_OPTION_ENABLE_SONIC, "1");
          },
          "Show tempo, key, loudness, energy and brightness")
      ->group("Output");

  command->callback([&line, command] {
    start_request& start = line.recommend.start;
    take_seeds(command, line.seeds_of_recommend, start);
    if (line.recommend.output == form::table) line.recommend.output = form_of(line.recommend.file);
    if (start.seeds.empty() && !start.has_filters())
      throw CLI::ValidationError("nothing to start from: give --track, --album, --artist, --genre, --mood or --era");
    line.run = [](const command_line& l) { return recommend(catalog_path(l.catalog), l.recommend); };
  });
}

void add_radio(CLI::App& program, command_line& line) {
  CLI::App* command = program.add_subcommand("radio", "Play a station that listens to you");
  radio_request& request = line.radio;
  add_catalog(command, line);
  CLI::Option* station =
      command->add_option("--station", request.station, "Go on with this station: its identifier, or its beginning")
          ->check(names_something, "")
          ->type_name("ID");
  add_start(command, line.seeds_of_radio, request.start);
  command
      ->add_flag_callback(
          name_of(VELOX_CADENZ_OPTION_STATION_DMCA),
          [&request] { request.start.options.emplace_back(VELOX_CADENZ_OPTION_STATION_DMCA, "1"); },
          option_of(VELOX_CADENZ_OPTION_STATION_DMCA).help)
      ->group("Choice");
  command
      ->add_option_function<std::string>(
          "--player",
          [&request](const std::string& text) {
            std::optional<std::vector<std::string>> words = split_words(text);
            if (!words) throw CLI::ValidationError("--player", "no command, or a quote that isn't closed");
            request.player = std::move(*words);
          },
          "Play each track with this command, which gets its file as the last argument")
      ->type_name("COMMAND")
      ->group("Session");
  command->add_option("--on-event", request.on_event, "Run this program for each event, with the track in $CADENZ_...")
      ->type_name("PROGRAM")
      ->group("Session");
  command->add_flag("--json", request.json, "Tell each event in a line of JSON")->group("Session");

  command->callback([&line, command, station] {
    start_request& start = line.radio.start;
    take_seeds(command, line.seeds_of_radio, start);
    const bool elsewhere = std::ranges::any_of(start.options, [](const auto& option) {
      return option.first == std::string_view(VELOX_CADENZ_OPTION_CATALOG_FILTER);
    });
    if (station->count() > 0 && (!start.seeds.empty() || start.has_filters() || elsewhere))
      throw CLI::ValidationError("--station goes on with the seeds and filters that the station has");
    line.run = [](const command_line& l) { return radio(catalog_path(l.catalog), l.radio); };
  });
}

void add_stations(CLI::App& program, command_line& line) {
  using what = stations_request::action;
  CLI::App* command = program.add_subcommand("stations", "List, rename and remove stations");
  stations_request& request = line.stations;
  add_catalog(command, line);
  command->add_flag("--json", request.json, "As JSON");
  command->require_subcommand(0, 1);

  const auto add = [&](const char* name, what action, const char* help) {
    CLI::App* one = command->add_subcommand(name, help);
    one->fallthrough();
    one->add_option("ID", request.id, "The station's identifier, or its beginning")->required()->type_name("");
    one->callback([&request, action] { request.what = action; });
    return one;
  };
  add("rename", what::rename, "Give a station another name")
      ->add_option("NAME", request.name, "Its name from now on")
      ->required()
      ->check(names_something, "")
      ->type_name("");
  add("remove", what::remove, "Remove a station with its history");
  add("history", what::history, "Show what happened on a station");
  command->callback(
      [&line] { line.run = [](const command_line& l) { return stations(catalog_path(l.catalog), l.stations); }; });
}

void add_serve(CLI::App& program, command_line& line) {
  CLI::App* command = program.add_subcommand("serve", "Play the radio in a browser");
  serve_request& request = line.serve;
  add_catalog(command, line);
  command->add_option("--listen", request.listen, "Where to be reached; " + request.listen + " unless given")
      ->type_name("HOST:PORT");
  command->add_option("--name", request.names, "A name under which a proxy asks for it")->type_name("NAME");
  command->add_option("--stations", request.stations, "Stations that are open at once; 64 unless given")
      ->check(CLI::Range(1, 10'000))
      ->type_name("N");
  command->add_option("--users", request.users, "The file of listeners; beside the catalogue unless given")
      ->type_name("FILE");
  command->add_option("--add-user", request.add_user, "Add a listener, or change a password: a line of standard input")
      ->check(names_something, "")
      ->type_name("NAME");
  command->add_option("--remove-user", request.remove_user, "Remove a listener")->type_name("NAME");
  command->add_option("--add-app", request.app_of, "Give an app of a listener's a password of its own, told once")
      ->type_name("USER");
  command->add_option("--remove-app", request.no_app_of, "Take an app's password away")->type_name("USER");
  command->add_option("--app", request.app, "Which app that is about")->type_name("NAME");
  command->add_flag("--no-password", request.no_password, "Let everybody in who reaches the address");
  command->callback(
      [&line] { line.run = [](const command_line& l) { return serve(catalog_path(l.catalog), l.serve); }; });
}

/** Reads the command line; returns an exit status when that was all, -1 when there is something to run. */
int read_command_line(int argc, char** argv, command_line& line) {
  CLI::App program("cadenz: a radio from your own music", "cadenz");
  program.require_subcommand(0, 1);
  program.set_version_flag("--version", std::string("cadenz ") + velox_cadenz_get_version());
  program.get_formatter()->column_width(34);
  add_scan(program, line);
  add_search(program, line);
  add_lists(program, line);
  add_sound(program, line);
  add_recommend(program, line);
  add_radio(program, line);
  add_stations(program, line);
#ifdef CADENZ_WITH_HTTP
  add_serve(program, line);
#endif
  program.footer(examples);  // last, so that the commands don't take it over

  try {
    program.parse(argc, argv);
    if (line.run) return -1;
    tell("no command given: there are scan, search, lists, sound, recommend, radio, stations and serve",
         "run: cadenz --help");
    return exit_usage;
  } catch (const CLI::ParseError& stop) {
    if (stop.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
      std::ostringstream text, ignored;
      program.exit(stop, text, ignored);
      write_result(text.str());
      return exit_fine;
    }
    const std::vector<CLI::App*> commands = program.get_subcommands();
    tell(stop.what(), "run: cadenz " + (commands.empty() ? "" : commands.front()->get_name() + ' ') + "--help");
    return exit_usage;
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "C.UTF-8");  // for the width of characters; all text is UTF-8 whatever the user's locale is
  std::signal(SIGPIPE, SIG_IGN);        // a reader that goes away is seen where the result is written
  try {
    command_line line;
    const int done = read_command_line(argc, argv, line);
    return done >= 0 ? done : line.run(line);
  } catch (const app::failure& failed) {
    tell(failed.what(), failed.hint);
  } catch (const std::exception& failed) {
    tell(failed.what());
  }
  return app::exit_failed;
}
