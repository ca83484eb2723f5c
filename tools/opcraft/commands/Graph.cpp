// SPDX-License-Identifier: Apache-2.0
#include "opcraft/PackageGraph.hpp"
#include "opcraft/commands/Commands.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <map>
#include <string>
#include <thread>

namespace opcraft {

namespace {

struct GraphOptions : ReadOptions {
    std::string format = "dot";
};

const std::map<std::string, bool> GRAPH_FORMATS = {{"dot", false}, {"svg", true}, {"png", true}}; // made by Graphviz

const std::map<GraphNodeKind, const char*> NODE_KINDS = {
    {GraphNodeKind::Package, "package"},   {GraphNodeKind::Part, "part"},
    {GraphNodeKind::Folder, "folder"},     {GraphNodeKind::Missing, "missing"},
    {GraphNodeKind::External, "external"}, {GraphNodeKind::Externals, "externals"}};

const std::map<GraphCover, const char*> COVERS = {
    {GraphCover::None, "none"}, {GraphCover::Covered, "covered"}, {GraphCover::Changed, "changed"}};

/// One end of a pipe.
class PipeEnd {
public:
    explicit PipeEnd(int descriptor) : descriptor_(descriptor) {}
    ~PipeEnd() { close(); }
    PipeEnd(const PipeEnd&) = delete;
    PipeEnd& operator=(const PipeEnd&) = delete;

    int get() const noexcept { return descriptor_; }
    void close() noexcept {
        if (descriptor_ >= 0)
            ::close(descriptor_);
        descriptor_ = -1;
    }

private:
    int descriptor_;
};

struct Pipe {
    PipeEnd read;
    PipeEnd write;

    static Pipe make() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0)
            throw Failure(ExitCode::NotProcessed, "", "", "dot cannot be started: " + systemReason(errno));
        return {PipeEnd(ends[0]), PipeEnd(ends[1])};
    }
};

/// Seconds of a processor after which a picture is given up: there are graphs that take days.
constexpr rlim_t MAXIMUM_SECONDS = 60;

/// What is started meanwhile may use so much of a processor and no more, also when this process is gone.
class ProcessorLimit {
public:
    ProcessorLimit() {
        ::getrlimit(RLIMIT_CPU, &former_);
        rlimit limit = former_;
        const auto used = static_cast<rlim_t>(std::clock() / CLOCKS_PER_SEC); // by this process, which it holds for too
        limit.rlim_cur = std::min(former_.rlim_cur, used + MAXIMUM_SECONDS);
        ::setrlimit(RLIMIT_CPU, &limit);
    }
    ~ProcessorLimit() { ::setrlimit(RLIMIT_CPU, &former_); }

    ProcessorLimit(const ProcessorLimit&) = delete;
    ProcessorLimit& operator=(const ProcessorLimit&) = delete;

private:
    rlimit former_{};
};

/// Starts Graphviz.
pid_t startDot(const std::string& format, const Pipe& input, const Pipe& output) {
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input.read.get(), STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output.write.get(), STDOUT_FILENO);
    std::string program = "dot";
    std::string option = "-T" + format;
    char* const arguments[] = {program.data(), option.data(), nullptr};
    pid_t process = 0;
    const int error = [&] {
        const ProcessorLimit limit;
        return ::posix_spawnp(&process, "dot", &actions, nullptr, arguments, environ);
    }();
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw Failure(ExitCode::NotProcessed, "", "",
                      "dot cannot be started: " + systemReason(error) + "; it is in the Debian package graphviz");
    return process;
}

void writeAll(PipeEnd& end, const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = ::write(end.get(), text.data() + done, text.size() - done);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) // its exit code tells why it does not read on
            break;
        done += static_cast<std::size_t>(count);
    }
    end.close();
}

std::string readAll(const PipeEnd& end) {
    std::string text;
    char block[16 * 1024];
    for (;;) {
        const ssize_t count = ::read(end.get(), block, sizeof block);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return text;
        text.append(block, static_cast<std::size_t>(count));
    }
}

/// A picture of the graph, by Graphviz.
std::string draw(const std::string& dot, const std::string& format) {
    Pipe input = Pipe::make();
    Pipe output = Pipe::make();
    const pid_t process = startDot(format, input, output);
    input.read.close();
    output.write.close();
    std::string picture;
    {
        const std::jthread writer([&] { writeAll(input.write, dot); });
        picture = readAll(output.read);
    }
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR)
        continue;
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU)
        throw Failure(ExitCode::NotProcessed, "", "",
                      "dot needs more than " + std::to_string(MAXIMUM_SECONDS) +
                          " seconds for this graph; --format dot writes what it would draw");
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || picture.empty())
        throw Failure(ExitCode::NotProcessed, "", "", "dot made no picture");
    return picture;
}

Json graphJson(const GraphOptions& options, const PackageGraph& graph, std::size_t findings) {
    Json json = makeJsonReport("graph", options.file, findings);
    json["nodes"] = toJsonArray(
        graph.nodes,
        [](const GraphNode& node) {
            return Json{{"kind", NODE_KINDS.at(node.kind)},
                        {"name", textOrNull(node.name)},
                        {"contentType", textOrNull(node.contentType)},
                        {"count", node.count},
                        {"signatures", COVERS.at(node.cover)}};
        });
    json["edges"] = toJsonArray(graph.edges, [](const GraphEdge& edge) {
        return Json{{"from", edge.from},
                    {"to", edge.to},
                    {"type", edge.type},
                    {"count", edge.count},
                    {"signatures", COVERS.at(edge.cover)}};
    });
    return json;
}

std::string graphOf(const GraphOptions& options, OpenPackage& package, Console& console) {
    const PackageGraph graph = makeGraph(package, options.signatures);
    const FindingList& findings = package.getFindings();
    findings.note(console, options.file);
    if (options.json)
        return toJsonText(graphJson(options, graph, findings.getAll().size()));
    const std::string dot = toDot(graph);
    return GRAPH_FORMATS.at(options.format) ? draw(dot, options.format) : dot;
}

ExitCode graph(const GraphOptions& options, Console& console) {
    GraphOptions how = options;
    how.signatures = true;
    std::string result;
    try {
        OpenPackage package(how);
        result = graphOf(how, package, console);
    } catch (const UnreadableSignatures& e) {
        console.note(e.getLine(options.file, "") + "; it is shown as if it covered nothing");
        how.signatures = false;
        OpenPackage package(how);
        result = graphOf(how, package, console);
    }
    console.write(result);
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, GraphOptions& options) {
    CLI::Option* json = addReadOptions(command, options);
    addToleranceOptions(command, options);
    command.add_option("--format", options.format, "What to write: dot, or a picture, svg or png, by Graphviz")
        ->type_name("FORMAT")
        ->capture_default_str()
        ->check(oneOf(GRAPH_FORMATS))
        ->excludes(json);
}

} // namespace

void addGraphCommand(Tool& tool) {
    addCommand<GraphOptions>(
        tool,
        {"graph", "Draw the parts and relationships of a package",
         "Writes a graph in the language of Graphviz (DOT). Green is what a signature covers, red what was changed\n"
         "since and what leads nowhere; dashed is what is not in the package. A package with more than 500 parts\n"
         "is drawn by its folders. Pictures are made by the program dot of Graphviz, which has to be installed.\n\n"
         "Examples:\n  opcraft graph letter.docx > letter.dot\n  opcraft graph letter.docx --format svg > letter.svg",
         addOptions, graph});
}

} // namespace opcraft
