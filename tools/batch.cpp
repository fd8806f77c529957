#include "batch.h"

#include "operations.h"
#include "text.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <iostream>
#include <map>
#include <mutex>
#include <new>
#include <thread>

#include <glob.h>

namespace tool {

namespace {

namespace fs = std::filesystem;

// The files that a pattern names, in the order of their names. Folders, devices and pipes
// that it fits are none of them.
std::vector<std::string> filesOf(const std::string &pattern) {
    std::error_code error;
    if (fs::exists(pattern, error)) return {pattern};
    glob_t found{};
    const int code = glob(pattern.c_str(), 0, nullptr, &found);
    std::vector<std::string> files;
    for (std::size_t i = 0; code == 0 && i < found.gl_pathc; ++i)
        if (fs::is_regular_file(found.gl_pathv[i], error)) files.emplace_back(found.gl_pathv[i]);
    globfree(&found);
    if (files.empty()) throw Failure(pattern + ": there is no such file or operation");
    return files;
}

// Also what looks like the name of one: reading it tells what is near.
bool isOperation(const std::string &word) {
    if (operationOf(word)) return true;
    const std::string name = word.substr(0, word.find(':'));
    std::error_code error;
    return name.find_first_of("./*?[") == std::string::npos && !fs::exists(word, error);
}

struct Task {
    std::string input, output;
    double share = 0;    // done of it
    std::string failure; // empty while there is none
};

std::vector<Task> tasksOf(const std::vector<std::string> &inputs, const std::string &to) {
    std::vector<Task> tasks;
    std::map<std::string, std::string> inputOf;
    for (const std::string &input : inputs) {
        const std::string output = resultName(to, input, tasks.size() + 1, inputs.size());
        const auto [other, fresh] = inputOf.emplace(output, input);
        if (!fresh) {
            throw Misuse(other->second + " and " + input + " would both become " + output +
                         ": {n}, {name} or {dir} in --to tells them apart");
        }
        tasks.push_back({input, output, 0, ""});
    }
    return tasks;
}

class Batch {
  public:
    Batch(std::vector<Task> tasks, const std::vector<Call> &calls, const BatchOptions &options)
        : tasks_(std::move(tasks)), calls_(calls), options_(options), run_(options.run),
          progress_(options.run.progress, "files") {
        // Files side by side; what is left of the jobs works on each of them.
        const auto files = static_cast<int>(tasks_.size());
        threads_ = std::min(options.run.jobs, files);
        run_.jobs = options.run.jobs / threads_;
        run_.memory = options.run.memory / threads_;
    }

    void run() {
        std::vector<std::thread> threads;
        try {
            for (int i = 1; i < threads_; ++i) threads.emplace_back([this] { work(); });
        } catch (const std::system_error &) {
            // As many as the system allows.
        }
        work();
        for (std::thread &thread : threads) thread.join();
        progress_.finish();
    }

    // After run().
    void tellFailures() const {
        std::size_t failed = 0;
        for (const Task &task : tasks_) {
            if (task.failure.empty()) continue;
            std::cerr << "zyl: " << task.failure << '\n';
            ++failed;
        }
        if (failed > 0) {
            throw Failure(std::to_string(failed) + " of " + std::to_string(tasks_.size()) +
                          (tasks_.size() == 1 ? " file" : " files") + " failed");
        }
    }

  private:
    void work() {
        for (std::size_t i = next_++; i < tasks_.size(); i = next_++) {
            Task &task = tasks_[i];
            try {
                make(task);
            } catch (const std::bad_alloc &) {
                task.failure = task.input + ": not enough memory";
            } catch (const std::exception &failure) {
                task.failure = failure.what();
                // Names of files are in most failures already.
                if (task.failure.find(task.input) == std::string::npos &&
                    task.failure.find(task.output) == std::string::npos) {
                    task.failure = task.input + ": " + task.failure;
                }
            }
            advance(task, 1);
        }
    }

    void make(Task &task) {
        std::error_code error;
        if (!options_.force && fs::exists(task.output, error))
            throw Failure(task.output + ": exists; --force overwrites it");
        const fs::path folder = fs::path(task.output).parent_path();
        if (!folder.empty()) fs::create_directories(folder, error);
        runChain(task.input, calls_, task.output, run_, [&](std::int64_t done, std::int64_t all) {
            advance(task, static_cast<double>(done) / static_cast<double>(all));
        });
    }

    void advance(Task &task, double share) {
        const std::lock_guard lock(mutex_);
        done_ += share - task.share;
        task.share = share;
        progress_.update(done_, static_cast<double>(tasks_.size()));
    }

    std::vector<Task> tasks_;
    const std::vector<Call> &calls_;
    const BatchOptions &options_;
    RunOptions run_; // of one file
    int threads_;
    Progress progress_;
    std::atomic<std::size_t> next_ = 0;
    std::mutex mutex_;
    double done_ = 0; // files
};

} // namespace

std::string resultName(const std::string &to, const std::string &input, std::size_t n,
                       std::size_t count) {
    const fs::path path = input;
    const std::string name = path.stem().string();
    std::string number = std::to_string(n);
    number.insert(0, std::to_string(count).size() - number.size(), '0');
    const std::map<std::string, std::string, std::less<>> values = {
        {"{name}", name},
        {"{stem}", name.substr(0, name.find('.', 1))},
        {"{dir}", path.has_parent_path() ? path.parent_path().string() : "."},
        {"{n}", number}};
    std::string result;
    for (std::size_t i = 0; i < to.size();) {
        const std::size_t end = to[i] == '{' ? to.find('}', i) : std::string::npos;
        const auto value =
            end == std::string::npos ? values.end() : values.find(to.substr(i, end + 1 - i));
        if (value == values.end()) {
            if (end != std::string::npos) {
                throw Misuse("--to knows {name}, {stem}, {n} and {dir}, not " +
                             to.substr(i, end + 1 - i));
            }
            result += to[i++];
        } else {
            result += value->second;
            i = end + 1;
        }
    }
    return result;
}

void runBatch(const std::vector<std::string> &words, const BatchOptions &options) {
    const auto operations = std::find_if(words.begin(), words.end(), isOperation);
    if (operations == words.begin()) throw Misuse("batch needs files, as in 'in/*.jpg'");
    if (options.to.empty()) throw Misuse("batch needs --to, as in --to 'out/{name}.png'");
    std::vector<Call> calls;
    for (auto word = operations; word != words.end(); ++word) calls.push_back(parseCall(*word));
    formatOfName(resultName(options.to, "x", 1, 1));

    std::vector<std::string> inputs;
    for (auto word = words.begin(); word != operations; ++word) {
        for (std::string &file : filesOf(*word)) inputs.push_back(std::move(file));
    }
    Batch batch(tasksOf(inputs, options.to), calls, options);
    batch.run();
    batch.tellFailures();
}

} // namespace tool
