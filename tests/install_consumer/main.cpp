// Opens a movie through the installed library: consumer MOVIE TIMESCALE TRACKS.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "IQTSifter.h"
#include "tenacore/string.h"

int main(int argc, char** argv)
{
    if (argc != 4)
    {
        std::fprintf(stderr, "usage: %s MOVIE TIMESCALE TRACKS\n", argv[0]);
        return 2;
    }

    tenacore::classref::InterfaceRef<QT::IQTMovie> movie;
    const uint32_t missing = QT::MakeParser()->MakeMovie(u"/nonexistent/folder/movie.mov", movie);
    if (missing != QT::kQTErrOpenFailed || QT::ResultCodeName(missing) != "kQTErrOpenFailed" || movie)
    {
        std::fprintf(stderr, "opening a missing file gave 0x%08X\n", unsigned(missing));
        return 1;
    }

    auto parser = QT::MakeParser();
    const uint32_t result = parser->MakeMovie(tenacore::string::UTF8to16(argv[1]), movie);
    if (result != QT::kQTSuccess || !movie)
    {
        std::fprintf(stderr, "%s: 0x%08X\n", argv[1], unsigned(result));
        return 1;
    }
    std::printf("time scale %u, duration %lld, %u tracks\n", movie->GetMovieTimeScale(),
                static_cast<long long>(movie->GetMovieDuration()), movie->GetTrackCount());
    if (movie->GetMovieTimeScale() != std::strtoul(argv[2], nullptr, 10) ||
        movie->GetTrackCount() != std::strtoul(argv[3], nullptr, 10))
        return 1;
    return 0;
}
