// Random games in a folder of the mounted drive, each beside a model of what such a folder ought to
// do; a game that fails is made smaller while it goes on failing.
// usage: mount_model local FOLDER
//        mount_model ordinary|sync FOLDER SERVERS-FOLDER
// On the drive it writes "remount SECONDS" to its output when the drive is to be mounted again,
// with listings kept for so long, and waits for a line "mounted" on its input.
#include <rapidcheck.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <vector>

#include "tests/e2e/mount_player.h"

namespace zv::testing {

static void showValue(const Step& step, std::ostream& out) { out << "\n  " << Describe(step); }

namespace {

namespace fs = std::filesystem;
using Game = std::vector<Step>;

constexpr unsigned kGameSteps = 500;
constexpr size_t kNames = 12;  // that most steps of a game use
constexpr size_t kTellSteps = 10'000;
constexpr auto kShrinkTime = std::chrono::seconds(100);

unsigned FromEnvironment(const char* name, unsigned usual) {
  const char* text = std::getenv(name);
  return text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : usual;
}

void Remount(int listing_seconds) {
  std::cout << "remount " << listing_seconds << std::endl;
  std::string line;
  if (!std::getline(std::cin, line) || line != "mounted") std::exit(2);
}

// Without a half of the steps, a quarter, an eighth, ... The end goes first: what comes after the
// failure was never played.
rc::Seq<Game> Smaller(const Game& game) {
  std::vector<std::pair<size_t, size_t>> cuts;
  for (size_t length = game.size(); length > 1;) {
    length = (length + 1) / 2;
    for (size_t end = game.size(); end > 0;) {
      const size_t from = end > length ? end - length : 0;
      cuts.emplace_back(from, end);
      end = from;
    }
  }
  return rc::seq::map(
      rc::seq::fromContainer(std::move(cuts)), [game](const std::pair<size_t, size_t>& cut) {
        Game rest(game.begin(), game.begin() + static_cast<long>(cut.first));
        rest.insert(rest.end(), game.begin() + static_cast<long>(cut.second), game.end());
        return rest;
      });
}

// Most steps of a game share a few names, so that they meet.
Game AmongFewNames(Game game, const std::vector<uint16_t>& names) {
  const auto choose = [&names](uint16_t number) {
    return number % 8 == 0 ? number : names[number / 8 % names.size()];
  };
  for (Step& step : game) {
    step.first = choose(step.first);
    step.second = choose(step.second);
  }
  return game;
}

rc::Gen<Game> AnyGame(unsigned steps) {
  const auto any_step = rc::gen::build<Step>(rc::gen::set(&Step::kind), rc::gen::set(&Step::first),
                                             rc::gen::set(&Step::second),
                                             rc::gen::set(&Step::place), rc::gen::set(&Step::size));
  const auto any_names =
      rc::gen::container<std::vector<uint16_t>>(kNames, rc::gen::arbitrary<uint16_t>());
  const auto any_game =
      rc::gen::apply(AmongFewNames, rc::gen::container<Game>(steps, any_step), any_names);
  return rc::gen::shrink(rc::gen::noShrink(rc::gen::resize(rc::kNominalSize, any_game)), Smaller);
}

class Games {
 public:
  Games(FolderKind kind, fs::path folder, fs::path on_server)
      : kind_(kind), folder_(std::move(folder)), on_server_(std::move(on_server)) {}

  void Play(const Game& game, bool listings_last) {
    // No longer than this: what is left of the game is shown as it is.
    if (failed_at_ && std::chrono::steady_clock::now() - *failed_at_ > kShrinkTime) return;
    const int listing_seconds = listings_last ? 2 : 0;
    if (kind_ != FolderKind::kLocal && (failed_at_ || listing_seconds != listing_seconds_)) {
      Remount(listing_seconds);
    }
    listing_seconds_ = listing_seconds;
    try {
      PlayOne(game);
    } catch (const std::exception& error) {
      failure_ = error.what();
      if (!failed_at_) {
        std::cerr << "failed, smaller games are tried now: " << failure_ << std::endl;
        failed_at_ = std::chrono::steady_clock::now();
      }
      throw;
    }
    if (failed_at_) return;
    const size_t before = std::exchange(steps_, steps_ + game.size());
    if (steps_ / kTellSteps != before / kTellSteps) Tell();
  }

  const std::string& failure() const { return failure_; }

  void Tell() const {
    std::cout << steps_ << " operations in " << games_ << " games; done + refused:";
    const char* separator = " ";
    for (const auto& [action, counts] : tally_) {
      std::cout << separator << NameOf(action) << " " << counts.done << "+" << counts.refused;
      separator = ", ";
    }
    std::cout << std::endl;
  }

 private:
  void PlayOne(const Game& game) {
    const std::string name = "game " + std::to_string(++games_);
    fs::create_directory(folder_ / name);
    MountPlayer player({.kind = kind_,
                        .folder = folder_ / name,
                        .on_server = kind_ == FolderKind::kLocal ? fs::path() : on_server_ / name,
                        .remount =
                            [this] {
                              if (kind_ != FolderKind::kLocal) Remount(listing_seconds_);
                            }},
                       tally_);
    for (const Step& step : game) player.Play(step);
    player.End();
  }

  const FolderKind kind_;
  const fs::path folder_;
  const fs::path on_server_;
  int listing_seconds_ = 2;
  unsigned games_ = 0;
  size_t steps_ = 0;
  Tally tally_;
  std::optional<std::chrono::steady_clock::time_point> failed_at_;
  std::string failure_;  // the last, which is the smallest game's
};

int Main(const std::vector<std::string>& arguments) {
  static const std::map<std::string, std::pair<FolderKind, size_t>> kKinds = {
      {"local", {FolderKind::kLocal, 3}},
      {"ordinary", {FolderKind::kDrive, 4}},
      {"sync", {FolderKind::kSyncDrive, 4}}};
  const auto kind = arguments.size() < 2 ? kKinds.end() : kKinds.find(arguments[1]);
  if (kind == kKinds.end() || arguments.size() != kind->second.second) {
    std::cerr << "usage: mount_model local FOLDER | ordinary|sync FOLDER SERVERS-FOLDER\n";
    return 2;
  }
  const unsigned seed = FromEnvironment("ZV_MODEL_SEED", 20261115);
  const unsigned steps = FromEnvironment("ZV_MODEL_STEPS", 2000);
  if (steps == 0) {
    std::cerr << "ZV_MODEL_STEPS is no number of operations\n";
    return 2;
  }
  const unsigned length = std::min(steps, kGameSteps);
  const unsigned count = (steps + length - 1) / length;
  const std::string parameters =
      "seed=" + std::to_string(seed) + " max_success=" + std::to_string(count);
  ::setenv("RC_PARAMS", parameters.c_str(), 1);

  Games games(kind->second.first, arguments[2], arguments.size() > 3 ? arguments[3] : "");
  const bool holds = rc::check("the folder does what its model does", [&](bool listings_last) {
    games.Play(*AnyGame(length), listings_last);
  });
  games.Tell();
  if (!holds) {
    std::cerr << "the smallest failed: " << games.failure() << "again: ZV_MODEL_SEED=" << seed
              << " ZV_MODEL_STEPS=" << steps << "\n";
  }
  return holds ? 0 : 1;
}

}  // namespace
}  // namespace zv::testing

int main(int argc, char** argv) {
  return zv::testing::Main(std::vector<std::string>(argv, argv + argc));
}
