#include "FfmpegMovies.h"

#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "TestFiles.h"

extern char** environ;

namespace qttest
{

namespace
{

// Closes a descriptor when it goes out of scope.
class Descriptor
{
public:
    Descriptor() = default;
    ~Descriptor() { Close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int& Ref() { return mFd; }
    int Get() const { return mFd; }
    void Close()
    {
        if (mFd >= 0)
            ::close(mFd);
        mFd = -1;
    }

private:
    int mFd = -1;
};

bool MakePipe(Descriptor& outRead, Descriptor& outWrite)
{
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return false;
    outRead.Ref() = fds[0];
    outWrite.Ref() = fds[1];
    return true;
}

// Reads both pipes together until both close, so that a child filling one cannot stall on it.
void Drain(Descriptor& ioOut, Descriptor& ioErr, std::string& outOut, std::string& outErr)
{
    char chunk[65536];
    while (ioOut.Get() >= 0 || ioErr.Get() >= 0)
    {
        pollfd fds[2] = {{ioOut.Get(), POLLIN, 0}, {ioErr.Get(), POLLIN, 0}};
        if (::poll(fds, 2, -1) < 0)
        {
            if (errno == EINTR)
                continue;
            return;
        }
        for (int i = 0; i < 2; ++i)
        {
            if (fds[i].fd < 0 || fds[i].revents == 0)
                continue;
            Descriptor& source = i == 0 ? ioOut : ioErr;
            std::string& sink = i == 0 ? outOut : outErr;
            const ssize_t got = ::read(source.Get(), chunk, sizeof chunk);
            if (got > 0)
                sink.append(chunk, size_t(got));
            else if (got == 0 || errno != EINTR)
                source.Close();
        }
    }
}

std::string Join(std::initializer_list<std::string_view> inParts)
{
    std::string text;
    for (std::string_view part : inParts)
    {
        if (part.empty())
            continue;
        if (!text.empty())
            text += ' ';
        text += part;
    }
    return text;
}

// Tiny sources so that every movie is made and probed in a blink: one second of a 64x48 test
// pattern at 25 fps and of a tone at 8 kHz.
constexpr std::string_view kVideoIn = "-f lavfi -i testsrc=size=64x48:rate=25:duration=1";
constexpr std::string_view kAudioIn = "-f lavfi -i sine=frequency=440:sample_rate=8000:duration=1";
// Same bytes from run to run: no encoder name or creation time, one encoder thread.
constexpr std::string_view kStable = "-fflags +bitexact -flags +bitexact -threads 1";
// A GOP with B-frames, so that decode and display order differ.
constexpr std::string_view kH264 = "-c:v libx264 -bf 2 -g 12 -pix_fmt yuv420p";
constexpr std::string_view kMpeg4 = "-c:v mpeg4 -bf 2 -g 12 -q:v 8";
constexpr std::string_view kPcm = "-c:a pcm_s16le";
constexpr std::string_view kAac = "-c:a aac -b:a 16k";
constexpr std::string_view kTimecode = "-timecode 01:00:00:00";
// HEVC with B-frames; the muxer writes sdtp for it. x265 runs on one thread and says nothing.
constexpr std::string_view kHevc = "-c:v libx265 -tag:v hvc1 -pix_fmt yuv420p -x265-params "
                                   "bframes=2:log-level=none:pools=none:frame-threads=1";
// Five ProRes frames coded as interlaced. The -flags of kStable would replace these, so the ProRes
// recipes spell out their own stable flags.
constexpr std::string_view kProresInterlaced =
    "-frames:v 5 -c:v prores_ks -profile:v 0 -flags +ildct+ilme+bitexact "
    "-fflags +bitexact -threads 1";
constexpr std::string_view kMjpeg = "-c:v mjpeg -pix_fmt yuvj420p";
// For recipes that only their feature's tests use; see MovieRecipe::listed.
constexpr bool kUnlisted = false;

// H.264 with B-frames, or MPEG-4 Visual with B-frames where libx264 is missing. The codec's
// options follow the inputs, since ffmpeg applies options to the file named after them.
std::vector<RecipeVariant> H264(std::initializer_list<std::string_view> inInputs,
                                std::initializer_list<std::string_view> inRest)
{
    std::string inputs, rest;
    for (std::string_view part : inInputs)
        inputs = Join({inputs, part});
    for (std::string_view part : inRest)
        rest = Join({rest, part});
    return {{Join({inputs, kH264, rest, kStable}), ""},
            {Join({inputs, kMpeg4, rest, kStable}),
             "libx264 is not available: MPEG-4 Visual with B-frames stands in"}};
}

// A recipe with no stand-in.
std::vector<RecipeVariant> Only(std::initializer_list<std::string_view> inParts)
{
    std::string text;
    for (std::string_view part : inParts)
        text = Join({text, part});
    return {{Join({text, kStable}), ""}};
}

constexpr std::string_view kMovieToken = "{movie:";

} // namespace

CommandResult RunCommand(const std::vector<std::string>& inArguments)
{
    CommandResult result;
    if (inArguments.empty())
    {
        result.err = "no command";
        return result;
    }
    Descriptor outRead, outWrite, errRead, errWrite;
    if (!MakePipe(outRead, outWrite) || !MakePipe(errRead, errWrite))
    {
        result.err = std::string("pipe: ") + std::strerror(errno);
        return result;
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, outWrite.Get(), 1);
    posix_spawn_file_actions_adddup2(&actions, errWrite.Get(), 2);

    std::vector<char*> argv;
    for (const std::string& argument : inArguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    pid_t pid = 0;
    const int spawned = ::posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
    {
        result.err = "cannot start " + inArguments[0] + ": " + std::strerror(spawned);
        return result;
    }
    outWrite.Close();
    errWrite.Close();
    Drain(outRead, errRead, result.out, result.err);

    int status = 0;
    while (::waitpid(pid, &status, 0) < 0)
    {
        if (errno != EINTR)
        {
            result.err += std::string("waitpid: ") + std::strerror(errno);
            return result;
        }
    }
    if (WIFEXITED(status))
        result.exitCode = WEXITSTATUS(status);
    else
        result.err += "\n" + inArguments[0] + " ended by signal " + std::to_string(WTERMSIG(status));
    return result;
}

std::vector<std::string> SplitArguments(const std::string& inText)
{
    std::vector<std::string> arguments;
    std::string current;
    bool inArgument = false;
    bool quoted = false;
    for (char c : inText)
    {
        if (c == '\'')
        {
            quoted = !quoted;
            inArgument = true;
        }
        else if (!quoted && (c == ' ' || c == '\t' || c == '\n'))
        {
            if (inArgument)
                arguments.push_back(current);
            current.clear();
            inArgument = false;
        }
        else
        {
            current += c;
            inArgument = true;
        }
    }
    if (quoted)
        throw std::invalid_argument("unbalanced quote in: " + inText);
    if (inArgument)
        arguments.push_back(current);
    return arguments;
}

nlohmann::json Ffprobe(const std::filesystem::path& inPath, bool inWithPackets)
{
    std::vector<std::string> command = {"ffprobe", "-v",           "error",        "-print_format",
                                        "json",    "-show_format", "-show_streams"};
    if (inWithPackets)
        command.push_back("-show_packets");
    command.push_back(inPath.string());
    const CommandResult run = RunCommand(command);
    if (!run.Succeeded())
        throw std::runtime_error("ffprobe failed on " + inPath.string() + ": " + run.err);
    return nlohmann::json::parse(run.out);
}

std::vector<std::string> FfmpegCommand(const std::vector<std::string>& inArguments)
{
    std::vector<std::string> command = {"ffmpeg", "-nostdin", "-hide_banner", "-loglevel", "error", "-y"};
    command.insert(command.end(), inArguments.begin(), inArguments.end());
    return command;
}

int64_t FfprobeInteger(const nlohmann::json& inValue)
{
    return inValue.is_string() ? std::stoll(inValue.get<std::string>()) : inValue.get<int64_t>();
}

std::string FfprobeTrace(const std::filesystem::path& inPath)
{
    const CommandResult run = RunCommand({"ffprobe", "-v", "trace", inPath.string()});
    if (!run.Succeeded())
        throw std::runtime_error("ffprobe failed on " + inPath.string() + ": " + run.err);
    return run.err;
}

// One line per movie.
const std::vector<MovieRecipe>& MovieRecipes()
{
    static const std::vector<MovieRecipe> recipes = {
        {"h264_pcm_timecode", "mov", H264({kVideoIn, kAudioIn}, {kPcm, kTimecode})},
        // This ffmpeg's mp4 writer takes no 16-bit PCM, so the audio is AAC.
        {"h264_aac_timecode_faststart", "mp4",
         H264({kVideoIn, kAudioIn}, {kAac, kTimecode, "-movflags faststart"})},
        // A stream copy from 0.5 s, which the muxer expresses as an edit into the copied media.
        {"h264_trimmed", "mov", Only({"-ss 0.5 -i {movie:h264_pcm_timecode} -c copy"})},
        // This ffmpeg turns the rotate tag into a track matrix only on a stream copy; an encode drops it.
        {"h264_rotated_90", "mov", Only({"-i {movie:h264_pcm_timecode} -c copy -metadata:s:v:0 rotate=90"}),
         kUnlisted},
        {"h264_rotated_180", "mov", Only({"-i {movie:h264_pcm_timecode} -c copy -metadata:s:v:0 rotate=180"}),
         kUnlisted},
        {"h264_rotated_270", "mov", Only({"-i {movie:h264_pcm_timecode} -c copy -metadata:s:v:0 rotate=270"}),
         kUnlisted},
        {"hevc_bframes", "mov", Only({kVideoIn, kHevc})},
        // The same with the composition delay folded into signed offsets, so no edit is needed.
        {"hevc_bframes_negative_cts", "mov", Only({kVideoIn, kHevc, "-movflags negative_cts_offsets"}),
         kUnlisted},
        // For the movie fixer: moov ahead of mdat; two video tracks of which only the second is
        // enabled; and sound alone.
        {"hevc_faststart", "mov", Only({kVideoIn, kHevc, "-movflags faststart"}), kUnlisted},
        {"hevc_second_enabled", "mov",
         Only({kVideoIn, "-map 0:v -map 0:v -disposition:v:0 0 -disposition:v:1 default", kHevc}), kUnlisted},
        {"pcm_only", "mov", Only({kAudioIn, kPcm}), kUnlisted},
        // Top field first, 4:3 pixels and BT.709 colour, so that fiel, pasp, colr and tapt are written.
        // setparams tags the frames too, since the encoder takes colour and fields from them.
        {"prores_interlaced_tt",
         "mov",
         {{Join({kVideoIn,
                 "-vf setparams=field_mode=tff:color_primaries=bt709:color_trc=bt709:colorspace=bt709,"
                 "setsar=4/3 -field_order tt -color_primaries bt709 -color_trc bt709 -colorspace bt709 "
                 "-movflags write_colr",
                 kProresInterlaced}),
           ""}}},
        {"prores_interlaced_bb",
         "mov",
         {{Join({kVideoIn, "-vf setparams=field_mode=bff -field_order bb", kProresInterlaced}), ""}},
         kUnlisted},
        {"mjpeg", "mov", Only({kVideoIn, "-frames:v 5", kMjpeg}), kUnlisted},
        // Movie metadata: QuickTime text atoms in a .mov, an item list in an .mp4, and the keyed form.
        {"titled_mov", "mov",
         Only({kVideoIn, "-frames:v 2", kMjpeg, "-metadata 'title=A title' -metadata 'comment=A comment'"}),
         kUnlisted},
        {"titled_mp4", "mp4",
         Only({kVideoIn, "-frames:v 2", kMjpeg, "-metadata 'title=A title' -metadata 'comment=A comment'"}),
         kUnlisted},
        {"keyed_mov", "mov",
         Only({kVideoIn, "-frames:v 2", kMjpeg,
               "-movflags use_metadata_tags -metadata 'title=A title' -metadata 'custom_key=A custom "
               "value'"})},
    };
    return recipes;
}

std::vector<std::string> MovieRecipeNames()
{
    std::vector<std::string> names;
    for (const MovieRecipe& recipe : MovieRecipes())
        if (recipe.listed)
            names.push_back(recipe.name);
    return names;
}

std::u16string MadeMovie::WidePath() const
{
    return Wide(path);
}

FfmpegMovies::FfmpegMovies() : mFolder(MakeTempFolder()) {}

FfmpegMovies::~FfmpegMovies()
{
    std::error_code ignored;
    std::filesystem::remove_all(mFolder, ignored);
}

const MadeMovie* FfmpegMovies::Get(const std::string& inRecipe, std::string* outWhy)
{
    Entry& entry = Make(inRecipe, 0);
    if (!entry.movie && outWhy)
        *outWhy = entry.why;
    return entry.movie ? &*entry.movie : nullptr;
}

FfmpegMovies::Entry& FfmpegMovies::Make(const std::string& inRecipe, int inDepth)
{
    if (auto found = mEntries.find(inRecipe); found != mEntries.end())
        return found->second;
    Entry entry;
    const MovieRecipe* recipe = nullptr;
    for (const MovieRecipe& candidate : MovieRecipes())
        if (candidate.name == inRecipe)
            recipe = &candidate;

    if (!recipe)
        entry.why = "no recipe named " + inRecipe;
    else if (inDepth > 8)
        entry.why = "recipe " + inRecipe + " refers to itself";
    else if (!RunCommand({"ffmpeg", "-hide_banner", "-version"}).Succeeded())
        entry.why = "ffmpeg cannot be run";
    else
    {
        const std::filesystem::path output = mFolder / (recipe->name + "." + recipe->extension);
        std::string failures;
        for (const RecipeVariant& variant : recipe->variants)
        {
            std::vector<std::string> command = FfmpegCommand();
            std::string missing;
            for (std::string& argument : SplitArguments(variant.arguments))
            {
                if (argument.starts_with(kMovieToken) && argument.ends_with("}"))
                {
                    const std::string source =
                        argument.substr(kMovieToken.size(), argument.size() - kMovieToken.size() - 1);
                    const Entry& sourceEntry = Make(source, inDepth + 1);
                    if (!sourceEntry.movie)
                    {
                        missing = "source " + source + ": " + sourceEntry.why;
                        break;
                    }
                    argument = sourceEntry.movie->path.string();
                }
                command.push_back(std::move(argument));
            }
            if (!missing.empty())
            {
                failures += "\n  " + missing;
                continue;
            }
            command.push_back(output.string());
            const CommandResult run = RunCommand(command);
            std::error_code ignored;
            if (run.Succeeded() && std::filesystem::file_size(output, ignored) > 0)
            {
                entry.movie = MadeMovie{recipe->name, output, variant.fallbackNote};
                break;
            }
            std::filesystem::remove(output, ignored);
            failures += "\n  ffmpeg " + variant.arguments + ":\n    " + run.err.substr(0, 600);
        }
        if (!entry.movie)
            entry.why = "ffmpeg could not make " + inRecipe + ":" + failures;
    }
    return mEntries.emplace(inRecipe, std::move(entry)).first->second;
}

const nlohmann::json& FfmpegMovies::Probe(const MadeMovie& inMovie)
{
    Entry& entry = Make(inMovie.recipe, 0);
    if (!entry.probe)
        entry.probe = Ffprobe(inMovie.path);
    return *entry.probe;
}

const nlohmann::json& FfmpegMovies::ProbePackets(const MadeMovie& inMovie)
{
    Entry& entry = Make(inMovie.recipe, 0);
    if (!entry.probePackets)
        entry.probePackets = Ffprobe(inMovie.path, true);
    return *entry.probePackets;
}

const std::string& FfmpegMovies::ProbeTrace(const MadeMovie& inMovie)
{
    Entry& entry = Make(inMovie.recipe, 0);
    if (!entry.trace)
        entry.trace = FfprobeTrace(inMovie.path);
    return *entry.trace;
}

} // namespace qttest
