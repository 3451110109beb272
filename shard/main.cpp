#include <CLI/CLI.hpp>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <stdexcept>

#include "app/base/case_list.h"
#include "app/base/log.h"
#include "app/base/whole_run.h"
#include "shard/merge.h"
#include "shard/plan.h"
#include "shard/run.h"
#include "shard/todo.h"
#include "shard/version.h"

namespace {

namespace shard = kavrel::shard;

constexpr int kExitFailure = 1;

struct Options {
  shard::PlanRequest plan;
  shard::RunRequest run;
  shard::MergeRequest merge;
  std::string job;
  std::string output_dir;
  std::string list;
  bool array = false;
};

int verify(const Options& options) {
  const std::vector<kavrel::CaseItem> list = kavrel::read_input_list(options.list);
  const kavrel::RunCheck check = kavrel::check_whole_run(options.output_dir, &list);
  for (const kavrel::RunFault& fault : check.faults) {
    kavrel::log_line("[FINDING] " + fault.text);
  }
  if (!check.faults.empty()) {
    throw std::runtime_error("not a whole run of " + options.list + ": " + options.output_dir);
  }
  std::cout << "whole: " << check.totals.frame_total << " frames, " << check.totals.group_total
            << " groups" << std::endl;
  return 0;
}

// On a worker that parallel reached by ssh, the job is what it sent, in the working directory.
int run_on_worker(shard::RunRequest request) {
  const char* const login = std::getenv("PARALLEL_SSHLOGIN");
  request.shipped = login != nullptr && std::string(login) != ":";
  if (request.shipped) request.job = ".";
  return shard::run_shard(request);
}

CLI::App& add_command(CLI::App& app, const std::string& name, const std::string& purpose,
                      const std::string& example, const std::function<void()>& run) {
  CLI::App& command = *app.add_subcommand(name, purpose);
  command.footer("Example: kavrel-shard " + name + " " + example);
  command.callback(run);
  return command;
}

void add_job(CLI::App& command, std::string& job) {
  command.add_option("JOB", job, "the job's folder")->required();
}

void add_plan(CLI::App& app, Options& options, int& /*status*/) {
  CLI::App& plan = add_command(app, "plan", "Part a case list into shards, in a folder of its own",
                               "--input-list LIST.csv --shards 24 JOB -- --input-mode auto ...",
                               [&] { shard::make_plan(options.plan, std::cout); });
  plan.add_option("--input-list", options.plan.list, "the case list")->required();
  plan.add_option("--shards", options.plan.shards, "how many are wished")
      ->required()
      ->check(CLI::Range(1, 1000000));
  plan.add_option("--keep-pictures", options.plan.keep_pictures,
                  "which cases keep their pictures: all, not-correct or none")
      ->capture_default_str()
      ->check(CLI::IsMember({"all", "not-correct", "none"}));
  add_job(plan, options.plan.job);
  plan.add_option("OPTIONS", options.plan.options, "options of kavrel, behind --");
}

void add_run(CLI::App& app, Options& options, int& status) {
  CLI::App& run = add_command(app, "run", "Run one shard; parallel and Slurm call this", "JOB 7",
                              [&] { status = run_on_worker(options.run); });
  run.add_option("--threads", options.run.threads,
                 "threads of the workstation's runtime; 0 is its own choice")
      ->capture_default_str()
      ->check(CLI::NonNegativeNumber);
  add_job(run, options.run.job);
  run.add_option("SHARD", options.run.shard, "its number, from 1")->required();
}

void add_todo(CLI::App& app, Options& options, int& /*status*/) {
  CLI::App& todo = add_command(
      app, "todo", "Print the shards that want to be run, again after whatever happened",
      "JOB | parallel --profile ./JOB/parallel",
      [&] { shard::print_todo(options.job, options.array, std::cout); });
  todo.add_flag("--array", options.array, "as sbatch --array takes them");
  add_job(todo, options.job);
}

void add_status(CLI::App& app, Options& options, int& /*status*/) {
  CLI::App& status = add_command(app, "status", "Tell what is done, failed and not done", "JOB",
                                 [&] { shard::print_status(options.job, std::cout); });
  add_job(status, options.job);
}

void add_merge(CLI::App& app, Options& options, int& status) {
  CLI::App& merge =
      add_command(app, "merge", "Make the output directory of one run", "JOB --output-dir OUT",
                  [&] { status = shard::merge(options.merge, std::cout); });
  merge.add_option("--output-dir", options.merge.output_dir, "where results go; not there yet")
      ->required();
  merge.add_flag(
      "--without-failed", options.merge.without_failed,
      "leave out groups whose pictures cannot be read, and shards that failed otherwise; exit "
      "status 4 if there are some");
  merge.add_flag("--fail-on-error", options.merge.fail_on_error,
                 "exit status 2 if a group is not \"correct\"");
  add_job(merge, options.merge.job);
}

void add_verify(CLI::App& app, Options& options, int& status) {
  CLI::App& check =
      add_command(app, "verify", "Tell whether an output directory holds one whole run",
                  "OUT --input-list LIST.csv", [&] { status = verify(options); });
  check.add_option("--input-list", options.list, "the case list of the run")->required();
  check.add_option("OUTPUT_DIR", options.output_dir, "where kavrel wrote its results")->required();
}

int run(int argc, char** argv) {
  Options options;
  int status = 0;
  CLI::App app(
      "Runs kavrel over a list in parts, on several processes or machines, and makes one "
      "run of them.",
      "kavrel-shard");
  // None is let through here, so that a mistyped one is named by the error.
  app.require_subcommand(0, 1);
  app.set_version_flag("--version", std::string(shard::kVersion));
  for (const auto& add : {add_plan, add_run, add_todo, add_status, add_merge, add_verify}) {
    add(app, options, status);
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ExtrasError& error) {
    const bool plans = app.got_subcommand("plan");
    throw std::runtime_error(error.what() +
                             std::string(plans ? "; options of kavrel stand behind --" : ""));
  }
  if (app.get_subcommands().empty()) throw std::runtime_error("no command; --help lists them");
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    kavrel::log_line(std::string("[ERROR] ") + error.what());
    return kExitFailure;
  }
}
