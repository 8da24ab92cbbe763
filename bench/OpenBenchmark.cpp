// Times opening a day-long movie, and opening it plus listing every video sample, with QTSifter and
// with libavformat side by side; then a day of PCM audio: QTSifter's audio sample range map against
// libavformat's open and a walk of the audio stream's index. Each side's peak memory is measured in
// a process of its own.
//
// Usage: qtsifter_open_bench [--movie-dir=DIR] [--seconds=N] [--repetitions=N] [--benchmark_...]
//   --movie-dir  where the generated movies are kept (env QTSIFTER_BENCH_DIR; default: the build folder)
//   --seconds    length of the generated movies (env QTSIFTER_BENCH_SECONDS; default 86400, a day)
//   --repetitions  most repetitions of each benchmark (default 5; fewer for a call that takes long)
// Only the movies that the benchmarks left by --benchmark_filter need are made and measured.
// Beside the repeated (warm) calls it times cold calls, each in a fresh process, and the floor of
// this machine: reading the movie atom and writing the records, which no reader can avoid.
// The last line printed is "speedup_open=X.X speedup_table=Y.Y speedup_table_cold=Z.Z
// speedup_audio=W.W", each libavformat's median wall time over QTSifter's (0 for one not run); a
// ratio below 1 is printed with three decimals.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

extern "C"
{
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

#include "AudioMovieWriter.h"
#include "IQTSifter.h"
#include "QTAudio.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "tenacore/string.h"

namespace
{

using MovieRef = tenacore::classref::InterfaceRef<QT::IQTMovie>;
using TrackRef = tenacore::classref::InterfaceRef<QT::IQTTrack>;
using Records = QT::VideoSampleTable;

constexpr int kClipSeconds = 10;
constexpr int kFrameRate = 60;
// Seconds of timing that one benchmark aims at, and the longest call for which the side figures run.
constexpr double kBudgetSeconds = 20;
constexpr double kCheapSeconds = 5;
// Fresh processes for each cold figure.
constexpr int kColdRuns = 5;

struct Options
{
    std::string movieDir = QTSIFTER_BENCH_DEFAULT_DIR;
    long seconds = 86400;
    int repetitions = 5;
    std::string peakChild; // set only in a child that measures one side's memory
    std::string movie;
    std::string filter; // Google Benchmark's --benchmark_filter, read and left for it
};

double Seconds(std::chrono::steady_clock::duration inSpan)
{
    return std::chrono::duration<double>(inSpan).count();
}

double ProcessCPUSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& inTime)
    { return double(inTime.tv_sec) + double(inTime.tv_usec) * 1e-6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Runs a program with its arguments as given, without a shell; true when it exits with 0.
bool RunProgram(const std::vector<std::string>& inArgs)
{
    std::vector<char*> argv;
    for (const std::string& arg : inArgs)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid < 0)
        return false;
    if (pid == 0)
    {
        execvp(argv[0], argv.data());
        std::fprintf(stderr, "cannot run %s: %s\n", argv[0], std::strerror(errno));
        _exit(127);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR)
    {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// A short H.264 clip with B-frames, looped without re-encoding into a long movie, so that the
// sample tables are as large as a day of real video makes them while the file stays small.
// Each file is written beside its final name and renamed, so a cut-short run leaves nothing stale.
bool MakeMovie(const Options& inOptions, const std::string& inMovie)
{
    namespace fs = std::filesystem;
    std::error_code error;
    fs::create_directories(inOptions.movieDir, error);
    const std::string clip = inOptions.movieDir + "/qtsifter-bench-clip.mov";
    const std::vector<std::string> quiet = {"ffmpeg", "-nostdin", "-hide_banner", "-loglevel", "error", "-y"};

    const auto start = std::chrono::steady_clock::now();
    if (!fs::exists(clip))
    {
        std::vector<std::string> args = quiet;
        for (const char* arg : {"-f", "lavfi", "-i"})
            args.push_back(arg);
        args.push_back("testsrc2=size=64x36:rate=" + std::to_string(kFrameRate));
        for (const char* arg :
             {"-c:v", "libx264", "-preset", "ultrafast", "-bf", "2", "-g", "60", "-keyint_min", "60",
              "-sc_threshold", "0", "-pix_fmt", "yuv420p", "-f", "mov"})
            args.push_back(arg);
        args.push_back("-t");
        args.push_back(std::to_string(kClipSeconds));
        args.push_back(clip + ".part");
        if (!RunProgram(args))
            return false;
        fs::rename(clip + ".part", clip);
    }
    std::vector<std::string> args = quiet;
    args.push_back("-stream_loop");
    args.push_back(std::to_string(inOptions.seconds / kClipSeconds + 1));
    for (const std::string& arg :
         {std::string("-i"), clip, std::string("-c"), std::string("copy"), std::string("-t"),
          std::to_string(inOptions.seconds), std::string("-f"), std::string("mov"), inMovie + ".part"})
        args.push_back(arg);
    if (!RunProgram(args))
        return false;
    fs::rename(inMovie + ".part", inMovie);
    std::printf("made %s in %.1f s\n", inMovie.c_str(), Seconds(std::chrono::steady_clock::now() - start));
    return true;
}

// QTSifter's side.

uint32_t OpenQTSifter(const std::u16string& inPath, MovieRef& outMovie)
{
    // A parser serves one parse, so each open takes a fresh one.
    return QT::MakeParser()->MakeMovie(inPath, outMovie);
}

bool FindVideoTrack(MovieRef& inMovie, TrackRef& outTrack)
{
    const uint32_t count = inMovie->GetTrackCount();
    for (uint32_t index = 0; index < count; ++index)
    {
        inMovie->GetIndTrack(outTrack, index);
        if (outTrack && outTrack->GetTrackMediaType() == QT::kVideoMediaType)
            return true;
    }
    outTrack.Reset();
    return false;
}

// Opens the movie and lists the video samples in decode order; 0 or the failing result code.
uint32_t QTSifterTable(const std::u16string& inPath, bool inIgnoreEdits, Records& outRecords)
{
    MovieRef movie;
    uint32_t result = OpenQTSifter(inPath, movie);
    if (result != QT::kQTSuccess)
        return result;
    TrackRef track;
    if (!FindVideoTrack(movie, track))
        return QT::kQTErrBadSampleTable;
    bool variable = false;
    return track->MakeVideoSampleTable(false, inIgnoreEdits, outRecords, &variable);
}

// Opens the movie and maps the whole sound track's ranges, keyed by position; 0 or the failing code.
uint32_t QTSifterAudioMap(const std::u16string& inPath, QT::AudioSampleRangeMap& outMap)
{
    MovieRef movie;
    uint32_t result = OpenQTSifter(inPath, movie);
    if (result != QT::kQTSuccess)
        return result;
    const uint32_t count = movie->GetTrackCount();
    for (uint32_t index = 0; index < count; ++index)
    {
        TrackRef track;
        movie->GetIndTrack(track, index);
        if (track && track->GetTrackMediaType() == QT::kAudioMediaType)
            return track->MakeAudioSampleRangeMap(outMap, false);
    }
    return QT::kQTErrBadSampleTable;
}

// libavformat's side: the same records from the video stream's index.

bool AVFormatTable(const std::string& inPath, bool inIgnoreEdits, bool inWalkIndex, Records& outRecords,
                   int& outEntryCount)
{
    AVFormatContext* context = nullptr;
    AVDictionary* options = nullptr;
    if (inIgnoreEdits)
        av_dict_set(&options, "ignore_editlist", "1", 0);
    const int opened = avformat_open_input(&context, inPath.c_str(), nullptr, &options);
    av_dict_free(&options);
    if (opened < 0)
        return false;
    AVStream* stream = nullptr;
    for (unsigned index = 0; index < context->nb_streams; ++index)
        if (context->streams[index]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
        {
            stream = context->streams[index];
            break;
        }
    outEntryCount = stream ? avformat_index_get_entries_count(stream) : 0;
    if (stream && inWalkIndex)
    {
        outRecords.reserve(outEntryCount);
        for (int index = 0; index < outEntryCount; ++index)
        {
            const AVIndexEntry* entry = avformat_index_get_entry(stream, index);
            QT::VideoSampleRecord record;
            record.fileOffset = uint64_t(entry->pos);
            record.startTime = uint64_t(entry->timestamp);
            record.size = uint32_t(entry->size);
            record.isSync = (entry->flags & AVINDEX_KEYFRAME) != 0;
            // The index keeps no durations: each is the step to the next entry's time.
            if (!outRecords.empty())
                outRecords.back().duration = uint32_t(record.startTime - outRecords.back().startTime);
            outRecords.push_back(record);
        }
    }
    avformat_close_input(&context);
    return stream != nullptr;
}

// libavformat's audio side: open, then read every index entry of the audio stream. Its index holds
// one entry a chunk of up to 1024 frames, as the range map does; the sums keep the reads from being
// optimised away. -1 when the movie does not open or has no audio stream, else the entry count.
long long AVFormatAudioIndex(const std::string& inPath, uint64_t& outBytes)
{
    AVFormatContext* context = nullptr;
    if (avformat_open_input(&context, inPath.c_str(), nullptr, nullptr) < 0)
        return -1;
    long long count = -1;
    outBytes = 0;
    for (unsigned index = 0; index < context->nb_streams; ++index)
    {
        AVStream* stream = context->streams[index];
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO)
            continue;
        count = avformat_index_get_entries_count(stream);
        for (int entry = 0; entry < count; ++entry)
        {
            const AVIndexEntry* item = avformat_index_get_entry(stream, entry);
            outBytes += uint64_t(item->size) + uint64_t(item->pos & 1) + uint64_t(item->timestamp & 1);
        }
        break;
    }
    avformat_close_input(&context);
    return count;
}

// The peak-memory child: does one side's work once and prints what it found.

int RunPeakChild(const Options& inOptions)
{
    av_log_set_level(AV_LOG_ERROR);
    const std::string& mode = inOptions.peakChild;
    const std::u16string path16 = tenacore::string::UTF8to16(inOptions.movie);
    Records records;
    long long count = -1;
    const auto start = std::chrono::steady_clock::now();
    const double cpuStart = ProcessCPUSeconds();
    if (mode == "idle")
        count = 0;
    else if (mode == "qtsifter-open")
    {
        MovieRef movie;
        if (OpenQTSifter(path16, movie) == QT::kQTSuccess)
            count = movie->GetMovieAtomSize();
    }
    else if (mode == "qtsifter-table")
    {
        if (QTSifterTable(path16, false, records) == QT::kQTSuccess)
            count = (long long)records.size();
    }
    else if (mode == "qtsifter-audio")
    {
        QT::AudioSampleRangeMap map;
        if (QTSifterAudioMap(path16, map) == QT::kQTSuccess)
            count = (long long)map.size();
    }
    else if (mode == "avformat-audio")
    {
        uint64_t bytes = 0;
        count = AVFormatAudioIndex(inOptions.movie, bytes);
    }
    else if (mode == "avformat-open" || mode == "avformat-index")
    {
        int entries = 0;
        if (AVFormatTable(inOptions.movie, false, mode == "avformat-index", records, entries))
            count = mode == "avformat-index" ? (long long)records.size() : entries;
    }
    // The operation alone, without the process's start, as a host that opens one movie pays it.
    const double seconds = Seconds(std::chrono::steady_clock::now() - start);
    std::printf("%lld %.9f %.9f\n", count, seconds, ProcessCPUSeconds() - cpuStart);
    return count < 0 ? 1 : 0;
}

struct PeakResult
{
    bool ok = false;
    long maxRssKiB = 0;
    long long count = 0;
    double seconds = 0;   // wall time of the whole child, start-up included
    double opSeconds = 0; // the operation alone, timed inside the child
    double opCPU = 0;     // and its CPU time, user and system
};

// Runs this program again in peak-child mode. wait4 gives that child's own high-water mark, so
// neither side's peak is hidden under the other's. Called before the benchmarks while this process
// is still small, because a forked child starts with a copy of the parent's resident pages.
PeakResult MeasurePeak(const std::string& inSelf, const std::string& inMode, const std::string& inMovie)
{
    PeakResult peak;
    int fds[2];
    if (pipe(fds) != 0)
        return peak;
    const std::string modeArg = "--peak-child=" + inMode;
    const std::string movieArg = "--movie=" + inMovie;
    std::fflush(stdout);
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = fork();
    if (pid < 0)
        return peak;
    if (pid == 0)
    {
        dup2(fds[1], STDOUT_FILENO);
        close(fds[0]);
        close(fds[1]);
        execl(inSelf.c_str(), inSelf.c_str(), modeArg.c_str(), movieArg.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    std::string output;
    char buffer[256];
    ssize_t got;
    while ((got = read(fds[0], buffer, sizeof buffer)) > 0 || (got < 0 && errno == EINTR))
        if (got > 0)
            output.append(buffer, size_t(got));
    close(fds[0]);
    int status = 0;
    rusage usage{};
    while (wait4(pid, &status, 0, &usage) < 0 && errno == EINTR)
    {
    }
    peak.seconds = Seconds(std::chrono::steady_clock::now() - start);
    peak.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    peak.maxRssKiB = usage.ru_maxrss;
    long long count = 0;
    double opSeconds = 0, opCPU = 0;
    if (std::sscanf(output.c_str(), "%lld %lf %lf", &count, &opSeconds, &opCPU) == 3)
    {
        peak.count = count;
        peak.opSeconds = opSeconds;
        peak.opCPU = opCPU;
    }
    else
        peak.ok = false;
    return peak;
}

// Memory never touched before, mapped afresh and given back when it goes, with huge pages asked
// for as the library asks for them: what a floor of fresh memory must pay, and no more.
template <class T>
class FreshAllocator
{
public:
    using value_type = T;
    FreshAllocator() = default;
    template <class U>
    FreshAllocator(const FreshAllocator<U>&) noexcept
    {
    }
    T* allocate(size_t inCount)
    {
        void* block =
            mmap(nullptr, Rounded(inCount), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (block == MAP_FAILED)
            throw std::bad_alloc();
        (void)madvise(block, Rounded(inCount), MADV_HUGEPAGE);
        return static_cast<T*>(block);
    }
    void deallocate(T* inBlock, size_t inCount) noexcept { munmap(inBlock, Rounded(inCount)); }
    template <class U>
    bool operator==(const FreshAllocator<U>&) const noexcept
    {
        return true;
    }

private:
    static size_t Rounded(size_t inCount)
    {
        constexpr size_t kHuge = size_t(2) << 20;
        return (inCount * sizeof(T) + kHuge - 1) / kHuge * kHuge;
    }
};

using FreshRecords = std::vector<QT::VideoSampleRecord, FreshAllocator<QT::VideoSampleRecord>>;

// Reads inSize bytes at inOffset of the file; false on any failure.
bool ReadAt(const std::string& inPath, uint64_t inOffset, uint8_t* outBytes, size_t inSize)
{
    const int fd = open(inPath.c_str(), O_RDONLY);
    if (fd < 0)
        return false;
    size_t done = 0;
    while (done < inSize)
    {
        const ssize_t got = pread(fd, outBytes + done, inSize - done, off_t(inOffset + done));
        if (got <= 0 && !(got < 0 && errno == EINTR))
            break;
        if (got > 0)
            done += size_t(got);
    }
    close(fd);
    return done == inSize;
}

// Records of the shape a day of video gives, written one by one as a pass writes them.
void WriteRecords(size_t inCount, FreshRecords& ioRecords)
{
    uint64_t offset = 48;
    uint64_t time = 0;
    for (size_t index = 0; index < inCount; ++index)
    {
        const uint32_t size = 5000 + uint32_t(index & 1023);
        ioRecords.push_back({offset, 1001, time, size, index % 250 == 0});
        offset += size;
        time += 1001;
    }
}

double MedianOf(std::vector<double> inValues)
{
    if (inValues.empty())
        return 0;
    std::sort(inValues.begin(), inValues.end());
    const size_t half = inValues.size() / 2;
    return inValues.size() % 2 ? inValues[half] : (inValues[half - 1] + inValues[half]) / 2;
}

// A cold call: a fresh process that opens the movie and does one operation once, nothing of it in
// memory before. The median of inRuns such processes, of the operation's own time; the first
// child's peak is kept as the figure's peak memory.
struct ColdResult
{
    bool ok = true;
    double seconds = 0;
    double cpu = 0;
    int runs = 0;
};

ColdResult MeasureCold(const std::string& inSelf, const std::string& inMode, const std::string& inMovie,
                       int inRuns)
{
    ColdResult cold;
    std::vector<double> seconds, cpu;
    for (int run = 0; run < inRuns; ++run)
    {
        const PeakResult child = MeasurePeak(inSelf, inMode, inMovie);
        cold.ok = cold.ok && child.ok;
        seconds.push_back(child.opSeconds);
        cpu.push_back(child.opCPU);
    }
    cold.seconds = MedianOf(seconds);
    cold.cpu = MedianOf(cpu);
    cold.runs = inRuns;
    return cold;
}

// Keeps every repetition's wall and CPU time per iteration, by benchmark family, while printing as usual.
class CollectingReporter : public benchmark::ConsoleReporter
{
public:
    CollectingReporter() : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& inRuns) override
    {
        for (const Run& run : inRuns)
            if (run.run_type == Run::RT_Iteration && !run.error_occurred && run.iterations > 0)
            {
                mWall[run.run_name.function_name].push_back(run.real_accumulated_time /
                                                            double(run.iterations));
                mCPU[run.run_name.function_name].push_back(run.cpu_accumulated_time / double(run.iterations));
            }
        ConsoleReporter::ReportRuns(inRuns);
    }

    size_t Count(const std::string& inName) const
    {
        auto found = mWall.find(inName);
        return found == mWall.end() ? 0 : found->second.size();
    }

    // Median seconds per iteration, of wall or of CPU time; 0 when the benchmark did not run.
    double Median(const std::string& inName, bool inCPU = false) const
    {
        const auto& seconds = inCPU ? mCPU : mWall;
        auto found = seconds.find(inName);
        return found == seconds.end() ? 0 : MedianOf(found->second);
    }

private:
    std::map<std::string, std::vector<double>> mWall;
    std::map<std::string, std::vector<double>> mCPU;
};

bool TakeOption(std::string_view inArg, std::string_view inName, std::string& outValue)
{
    if (inArg.substr(0, inName.size()) != inName)
        return false;
    outValue = std::string(inArg.substr(inName.size()));
    return true;
}

// Takes this program's own options out of argv, leaving Google Benchmark's.
Options ParseOptions(int& ioArgc, char** ioArgv)
{
    Options options;
    if (const char* dir = std::getenv("QTSIFTER_BENCH_DIR"); dir && *dir)
        options.movieDir = dir;
    if (const char* seconds = std::getenv("QTSIFTER_BENCH_SECONDS"); seconds && *seconds)
        options.seconds = std::atol(seconds);
    int kept = 1;
    for (int index = 1; index < ioArgc; ++index)
    {
        std::string value;
        const std::string_view arg = ioArgv[index];
        if (TakeOption(arg, "--movie-dir=", value))
            options.movieDir = value;
        else if (TakeOption(arg, "--seconds=", value))
            options.seconds = std::atol(value.c_str());
        else if (TakeOption(arg, "--repetitions=", value))
            options.repetitions = std::max(1, std::atoi(value.c_str()));
        else if (TakeOption(arg, "--peak-child=", value))
            options.peakChild = value;
        else if (TakeOption(arg, "--movie=", value))
            options.movie = value;
        else
        {
            if (TakeOption(arg, "--benchmark_filter=", value))
                options.filter = value;
            ioArgv[kept++] = ioArgv[index];
        }
    }
    ioArgc = kept;
    ioArgv[kept] = nullptr;
    return options;
}

// Whether Google Benchmark's filter keeps a benchmark of this name: a regular expression searched
// for in the name, "all" or nothing for every one, a leading '-' for those it does not match.
bool Selected(const std::string& inFilter, const std::string& inName)
{
    if (inFilter.empty() || inFilter == "all")
        return true;
    const bool negative = inFilter[0] == '-';
    try
    {
        const bool hit = std::regex_search(
            inName, std::regex(negative ? inFilter.substr(1) : inFilter, std::regex::extended));
        return hit != negative;
    }
    catch (const std::regex_error&)
    {
        return true; // Google Benchmark reports a bad expression itself
    }
}

double MiB(double inBytes)
{
    return inBytes / (1024.0 * 1024.0);
}

double Ratio(double inNumerator, double inDenominator)
{
    return inDenominator > 0 ? inNumerator / inDenominator : 0;
}

} // namespace

int main(int argc, char** argv)
{
    Options options = ParseOptions(argc, argv);
    if (!options.peakChild.empty())
        return RunPeakChild(options);
    if (options.seconds < kClipSeconds)
    {
        std::fprintf(stderr, "--seconds must be at least %d\n", kClipSeconds);
        return 2;
    }

    bool wantVideo = false;
    for (const char* name : {"qtsifter_open", "qtsifter_open_table", "qtsifter_open_table_ignore_edits",
                             "avformat_open", "avformat_open_index", "avformat_open_index_ignore_edits"})
        wantVideo = wantVideo || Selected(options.filter, name);
    const bool wantAudio = Selected(options.filter, "qtsifter_open_audio_map") ||
                           Selected(options.filter, "avformat_open_audio_index");

    const std::string movie =
        options.movieDir + "/qtsifter-bench-" + std::to_string(options.seconds) + "s.mov";
    if (wantVideo && !std::filesystem::exists(movie) && !MakeMovie(options, movie))
    {
        std::fprintf(stderr, "cannot make %s with ffmpeg\n", movie.c_str());
        return 1;
    }
    // Written afresh on every run: it takes a second, and a changed writer can then never leave a
    // stale movie behind.
    const bench::AudioMovieLayout audioLayout = bench::AudioLayoutForSeconds(options.seconds);
    const std::string audioMovie =
        options.movieDir + "/qtsifter-bench-audio-" + std::to_string(options.seconds) + "s.mov";
    if (wantAudio)
    {
        const auto start = std::chrono::steady_clock::now();
        std::error_code error;
        std::filesystem::create_directories(options.movieDir, error);
        if (!bench::WriteAudioMovie(audioMovie + ".part", audioLayout))
        {
            std::fprintf(stderr, "cannot write %s: %s\n", audioMovie.c_str(), std::strerror(errno));
            return 1;
        }
        std::filesystem::rename(audioMovie + ".part", audioMovie);
        std::printf("wrote %s in %.1f s\n", audioMovie.c_str(),
                    Seconds(std::chrono::steady_clock::now() - start));
    }
    av_log_set_level(AV_LOG_ERROR);
    const std::u16string movie16 = tenacore::string::UTF8to16(movie);
    const std::u16string audioMovie16 = tenacore::string::UTF8to16(audioMovie);

    // Where the movie atom lies and how large it is, read once before anything is timed.
    uint64_t moovOffset = 0;
    uint32_t moovSize = 0;
    if (wantVideo)
    {
        MovieRef probe;
        if (OpenQTSifter(movie16, probe) != QT::kQTSuccess)
        {
            std::fprintf(stderr, "QTSifter cannot open %s\n", movie.c_str());
            return 1;
        }
        moovOffset = probe->GetMovieAtomOffset();
        moovSize = probe->GetMovieAtomSize();
    }

    // Peak memory first, while this process is small (see MeasurePeak).
    char selfPath[4096];
    const ssize_t selfLength = readlink("/proc/self/exe", selfPath, sizeof selfPath - 1);
    if (selfLength <= 0)
        return 1;
    const std::string self(selfPath, size_t(selfLength));
    std::printf("measuring peak memory, one child process each...\n");
    PeakResult idlePeak = MeasurePeak(self, "idle", movie);
    PeakResult qtOpenPeak, qtTablePeak, avOpenPeak, avIndexPeak, qtAudioPeak, avAudioPeak;
    if (wantVideo)
    {
        qtOpenPeak = MeasurePeak(self, "qtsifter-open", movie);
        qtTablePeak = MeasurePeak(self, "qtsifter-table", movie);
        avOpenPeak = MeasurePeak(self, "avformat-open", movie);
        avIndexPeak = MeasurePeak(self, "avformat-index", movie);
    }
    if (wantAudio)
    {
        qtAudioPeak = MeasurePeak(self, "qtsifter-audio", audioMovie);
        avAudioPeak = MeasurePeak(self, "avformat-audio", audioMovie);
    }
    for (const PeakResult* peak : {&idlePeak, &qtOpenPeak, &qtTablePeak, &avOpenPeak, &avIndexPeak})
        if (!peak->ok && (wantVideo || peak == &idlePeak))
        {
            std::fprintf(stderr, "a peak-memory child failed\n");
            return 1;
        }
    ColdResult qtOpenCold, qtTableCold, avOpenCold, avIndexCold;
    if (wantVideo)
    {
        std::printf("measuring cold calls, %d fresh processes each...\n", kColdRuns);
        qtOpenCold = MeasureCold(self, "qtsifter-open", movie, kColdRuns);
        qtTableCold = MeasureCold(self, "qtsifter-table", movie, kColdRuns);
        avOpenCold = MeasureCold(self, "avformat-open", movie, kColdRuns);
        avIndexCold = MeasureCold(self, "avformat-index", movie, kColdRuns);
        for (const ColdResult* cold : {&qtOpenCold, &qtTableCold, &avOpenCold, &avIndexCold})
            if (!cold->ok)
            {
                std::fprintf(stderr, "a cold-call child failed\n");
                return 1;
            }
    }
    for (const PeakResult* peak : {&qtAudioPeak, &avAudioPeak})
        if (!peak->ok && wantAudio)
        {
            std::fprintf(stderr, "a peak-memory child failed\n");
            return 1;
        }

    auto qtOpen = [&](benchmark::State& state)
    {
        for (auto _ : state)
        {
            MovieRef opened;
            if (OpenQTSifter(movie16, opened) != QT::kQTSuccess)
            {
                state.SkipWithError("MakeMovie failed");
                break;
            }
            benchmark::DoNotOptimize(opened.Get());
        }
    };
    auto qtTable = [&](benchmark::State& state, bool inIgnoreEdits)
    {
        size_t count = 0;
        for (auto _ : state)
        {
            Records records;
            if (QTSifterTable(movie16, inIgnoreEdits, records) != QT::kQTSuccess)
            {
                state.SkipWithError("MakeVideoSampleTable failed");
                break;
            }
            benchmark::DoNotOptimize(records.data());
            count = records.size();
        }
        state.counters["samples"] = double(count);
    };
    auto avOpen = [&](benchmark::State& state)
    {
        for (auto _ : state)
        {
            Records records;
            int entries = 0;
            if (!AVFormatTable(movie, false, false, records, entries))
            {
                state.SkipWithError("avformat_open_input failed");
                break;
            }
            benchmark::DoNotOptimize(entries);
        }
    };
    auto avIndex = [&](benchmark::State& state, bool inIgnoreEdits)
    {
        size_t count = 0;
        for (auto _ : state)
        {
            Records records;
            int entries = 0;
            if (!AVFormatTable(movie, inIgnoreEdits, true, records, entries))
            {
                state.SkipWithError("avformat_open_input failed");
                break;
            }
            benchmark::DoNotOptimize(records.data());
            count = records.size();
        }
        state.counters["samples"] = double(count);
    };

    auto qtAudio = [&](benchmark::State& state)
    {
        size_t count = 0;
        for (auto _ : state)
        {
            QT::AudioSampleRangeMap map;
            if (QTSifterAudioMap(audioMovie16, map) != QT::kQTSuccess)
            {
                state.SkipWithError("MakeAudioSampleRangeMap failed");
                break;
            }
            count = map.size();
            benchmark::DoNotOptimize(count);
        }
        state.counters["ranges"] = double(count);
    };
    auto avAudio = [&](benchmark::State& state)
    {
        long long count = 0;
        for (auto _ : state)
        {
            uint64_t bytes = 0;
            count = AVFormatAudioIndex(audioMovie, bytes);
            if (count < 0)
            {
                state.SkipWithError("avformat_open_input failed");
                break;
            }
            benchmark::DoNotOptimize(bytes);
        }
        state.counters["ranges"] = double(count);
    };

    // The floor on this machine: the least any reader can spend. Reading the movie atom's bytes into
    // fresh memory (an open can do no less), and writing the sample records into fresh memory, as a
    // first call pays its page faults, and into memory written before, as a call that reuses it.
    const size_t recordCount = size_t(std::max<long long>(qtTablePeak.count, 0));
    auto floorReadMoov = [&](benchmark::State& state)
    {
        for (auto _ : state)
        {
            std::vector<uint8_t, FreshAllocator<uint8_t>> bytes;
            bytes.reserve(moovSize);
            if (!ReadAt(movie, moovOffset, bytes.data(), moovSize))
            {
                state.SkipWithError("cannot read the movie atom");
                break;
            }
            benchmark::DoNotOptimize(bytes.data());
        }
    };
    auto floorWriteRecords = [&](benchmark::State& state, bool inReuse)
    {
        FreshRecords reused;
        for (auto _ : state)
        {
            FreshRecords fresh;
            FreshRecords& records = inReuse ? reused : fresh;
            records.clear();
            records.reserve(recordCount);
            WriteRecords(recordCount, records);
            benchmark::DoNotOptimize(records.data());
        }
    };

    // Each repetition lasts at least a second; an operation whose one call, as its peak-memory child
    // took it, would make the repetitions outlast the budget gets fewer, so that the whole run stays
    // within minutes even when one side is slow. Listing with edits ignored is a side figure, timed
    // only while it is cheap.
    const bool timeIgnoringEdits = qtTablePeak.seconds < kCheapSeconds;
    const auto setup = [&](benchmark::internal::Benchmark* inBenchmark, const PeakResult& inOneCall)
    {
        const int fitting = int(kBudgetSeconds / std::max(inOneCall.seconds, 1e-3));
        inBenchmark->Unit(benchmark::kMillisecond)
            ->UseRealTime()
            ->MinTime(1.0)
            ->Repetitions(std::clamp(fitting, 1, options.repetitions));
    };
    if (wantVideo)
    {
        setup(benchmark::RegisterBenchmark("qtsifter_open", qtOpen), qtOpenPeak);
        setup(benchmark::RegisterBenchmark("qtsifter_open_table", qtTable, false), qtTablePeak);
        if (timeIgnoringEdits)
            setup(benchmark::RegisterBenchmark("qtsifter_open_table_ignore_edits", qtTable, true),
                  qtTablePeak);
        setup(benchmark::RegisterBenchmark("avformat_open", avOpen), avOpenPeak);
        setup(benchmark::RegisterBenchmark("avformat_open_index", avIndex, false), avIndexPeak);
        if (timeIgnoringEdits)
            setup(benchmark::RegisterBenchmark("avformat_open_index_ignore_edits", avIndex, true),
                  avIndexPeak);
    }
    if (wantVideo)
    {
        const PeakResult cheap{true, 0, 0, 0.1, 0.1};
        setup(benchmark::RegisterBenchmark("floor_read_moov", floorReadMoov), cheap);
        setup(benchmark::RegisterBenchmark("floor_write_records_fresh", floorWriteRecords, false), cheap);
        setup(benchmark::RegisterBenchmark("floor_write_records_reused", floorWriteRecords, true), cheap);
    }
    if (wantAudio)
    {
        setup(benchmark::RegisterBenchmark("qtsifter_open_audio_map", qtAudio), qtAudioPeak);
        setup(benchmark::RegisterBenchmark("avformat_open_audio_index", avAudio), avAudioPeak);
    }

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const double qtOpenTime = reporter.Median("qtsifter_open");
    const double qtTableTime = reporter.Median("qtsifter_open_table");
    const double avOpenTime = reporter.Median("avformat_open");
    const double avIndexTime = reporter.Median("avformat_open_index");
    const double speedupOpen = Ratio(avOpenTime, qtOpenTime);
    const double speedupTable = Ratio(avIndexTime, qtTableTime);
    const double speedupAudio =
        Ratio(reporter.Median("avformat_open_audio_index"), reporter.Median("qtsifter_open_audio_map"));
    const double speedupTableCold = Ratio(avIndexCold.seconds, qtTableCold.seconds);
    const double speedupIgnoringEdits = Ratio(reporter.Median("avformat_open_index_ignore_edits"),
                                              reporter.Median("qtsifter_open_table_ignore_edits"));
    const double floorOpen = reporter.Median("floor_read_moov");
    const double floorFresh = reporter.Median("floor_write_records_fresh");
    const double floorReused = reporter.Median("floor_write_records_reused");

    std::error_code error;
    const auto fileSize = std::filesystem::file_size(movie, error);
    const auto row = [&](const char* inLabel, const char* inQT, const char* inAV, const char* inTarget)
    {
        const double qt = reporter.Median(inQT), av = reporter.Median(inAV);
        if (qt <= 0 || av <= 0)
        {
            if (!timeIgnoringEdits && std::string_view(inQT).ends_with("ignore_edits"))
                std::printf("  %-36s skipped: one QTSifter call took %.1f s\n", inLabel, qtTablePeak.seconds);
            else
                std::printf("  %-36s not timed (filtered out, or failed)\n", inLabel);
            return;
        }
        const double cpu = Ratio(reporter.Median(inAV, true), reporter.Median(inQT, true));
        std::printf("  %-36s %10.2f ms %10.2f ms %7.*fx %s %7.*fx   %zu/%zu\n", inLabel, qt * 1e3, av * 1e3,
                    av / qt < 1 ? 3 : 1, av / qt, inTarget, cpu < 1 ? 3 : 1, cpu, reporter.Count(inQT),
                    reporter.Count(inAV));
    };
    const auto mib = [](long inKiB) { return inKiB / 1024.0; };

    std::printf("\n== summary ==\n");
    if (wantVideo)
    {
        std::printf("movie    %s\n", movie.c_str());
        std::printf(
            "         %ld s of %d fps H.264 with B-frames; file %.1f MiB; moov %u bytes (%.1f MiB) at %llu\n",
            options.seconds, kFrameRate, MiB(double(error ? 0 : fileSize)), moovSize, MiB(moovSize),
            (unsigned long long)moovOffset);
        std::printf("samples  QTSifter %lld, libavformat index %lld (video track, edits applied)\n",
                    qtTablePeak.count, avIndexPeak.count);
    }
    if (wantAudio)
    {
        std::printf("audio    %s\n", audioMovie.c_str());
        std::printf(
            "         %.0f s of 48 kHz stereo 16-bit PCM in %llu chunks of 1024 frames; media a sparse "
            "hole of %.1f GiB\n",
            double(audioLayout.FrameCount()) / bench::AudioMovieLayout::kSampleRate,
            (unsigned long long)audioLayout.chunkCount, MiB(double(audioLayout.MediaBytes())) / 1024);
        std::printf("ranges   QTSifter %lld, libavformat index %lld (sound track, keyed by position)\n",
                    qtAudioPeak.count, avAudioPeak.count);
    }
    std::printf(
        "time     median wall time of one call, over repetitions of at least 1 s each; the speedup by\n"
        "         CPU time beside it is the steadier one on a busy machine\n");
    std::printf("  %-36s %13s %13s %8s %12s %8s %7s\n", "", "QTSifter", "libavformat", "speedup", "",
                "by CPU", "runs");
    if (wantVideo)
    {
        row("open", "qtsifter_open", "avformat_open", "(target 20x)");
        row("open + sample list, edits applied", "qtsifter_open_table", "avformat_open_index",
            "(target 5x) ");
        row("open + sample list, edits ignored", "qtsifter_open_table_ignore_edits",
            "avformat_open_index_ignore_edits", "            ");
    }
    if (wantAudio)
        row("open + audio range map", "qtsifter_open_audio_map", "avformat_open_audio_index", "(target 5x) ");
    if (wantVideo)
    {
        std::printf(
            "cold     one call in a fresh process (open, or open + sample list with edits applied), the\n"
            "         call alone timed inside it; median of %d processes\n",
            kColdRuns);
        const auto coldRow =
            [](const char* inLabel, const ColdResult& inQT, const ColdResult& inAV, const char* inTarget)
        {
            const double ratio = Ratio(inAV.seconds, inQT.seconds);
            const double cpu = Ratio(inAV.cpu, inQT.cpu);
            std::printf("  %-36s %10.2f ms %10.2f ms %7.*fx %s %7.*fx   %d/%d\n", inLabel, inQT.seconds * 1e3,
                        inAV.seconds * 1e3, ratio < 1 ? 3 : 1, ratio, inTarget, cpu < 1 ? 3 : 1, cpu,
                        inQT.runs, inAV.runs);
        };
        coldRow("open, cold", qtOpenCold, avOpenCold, "            ");
        coldRow("open + sample list, cold", qtTableCold, avIndexCold, "(target 5x) ");
        std::printf(
            "floor    the least any reader spends on this machine, and QTSifter as a multiple of it\n");
        std::printf("  %-36s %10.2f ms   QTSifter open warm %.1fx, cold %.1fx (target 2x)\n",
                    "read the movie atom, fresh memory", floorOpen * 1e3, Ratio(qtOpenTime, floorOpen),
                    Ratio(qtOpenCold.seconds, floorOpen));
        std::printf("  %-36s %10.2f ms\n", "write the records, fresh memory", floorFresh * 1e3);
        std::printf("  %-36s %10.2f ms\n", "write the records, reused memory", floorReused * 1e3);
        std::printf("  %-36s %10.2f ms   QTSifter open + list warm %.1fx (target 3x)\n",
                    "read + write, reused (warm floor)", (floorOpen + floorReused) * 1e3,
                    Ratio(qtTableTime, floorOpen + floorReused));
        std::printf("  %-36s %10.2f ms   QTSifter open + list cold %.1fx (target 3x)\n",
                    "read + write, fresh (cold floor)", (floorOpen + floorFresh) * 1e3,
                    Ratio(qtTableCold.seconds, floorOpen + floorFresh));
        std::printf(
            "reuse    warm figures reuse memory: QTSifter's records and movie atom come back from its\n"
            "         recycling pool, libavformat's from the C allocator; cold figures reuse nothing\n");
    }
    std::printf("peak RSS ru_maxrss of one child process per figure (a child that does nothing: %.1f MiB)\n",
                mib(idlePeak.maxRssKiB));
    if (wantVideo)
    {
        std::printf("  %-36s %10.1f MiB %10.1f MiB\n", "open", mib(qtOpenPeak.maxRssKiB),
                    mib(avOpenPeak.maxRssKiB));
        std::printf("  %-36s %10.1f MiB %10.1f MiB\n", "open + sample list, edits applied",
                    mib(qtTablePeak.maxRssKiB), mib(avIndexPeak.maxRssKiB));
    }
    if (wantAudio)
    {
        std::printf("  %-36s %10.1f MiB %10.1f MiB\n", "open + audio range map", mib(qtAudioPeak.maxRssKiB),
                    mib(avAudioPeak.maxRssKiB));
        std::printf("targets  open + audio range map %s 5x\n", speedupAudio >= 5 ? "meets" : "MISSES");
    }
    if (wantVideo)
    {
        const auto verdict = [](bool inMet) { return inMet ? "meets" : "MISSES"; };
        std::printf("targets  open %s 20x; open + list warm %s 10x, cold %s 5x, edits ignored %s 8x\n",
                    verdict(speedupOpen >= 20), verdict(speedupTable >= 10), verdict(speedupTableCold >= 5),
                    verdict(speedupIgnoringEdits >= 8));
        std::printf("         open %s 2x its floor; open + list %s 3x its floor (warm); peak memory %s in "
                    "every row\n",
                    verdict(Ratio(qtOpenTime, floorOpen) <= 2),
                    verdict(Ratio(qtTableTime, floorOpen + floorReused) <= 3),
                    qtOpenPeak.maxRssKiB < avOpenPeak.maxRssKiB &&
                            qtTablePeak.maxRssKiB < avIndexPeak.maxRssKiB
                        ? "lower"
                        : "NOT LOWER");
    }
    // Ratios below 1 keep enough digits to tell them from zero.
    const auto digits = [](double inRatio) { return inRatio > 0 && inRatio < 1 ? 3 : 1; };
    std::printf("speedup_open=%.*f speedup_table=%.*f speedup_table_cold=%.*f speedup_audio=%.*f\n",
                digits(speedupOpen), speedupOpen, digits(speedupTable), speedupTable,
                digits(speedupTableCold), speedupTableCold, digits(speedupAudio), speedupAudio);
    return 0;
}
