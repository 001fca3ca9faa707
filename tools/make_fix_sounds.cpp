// veloran-fix-sounds: writes the two fix cues, fix-gained.wav and fix-lost.wav, and the speed
// alarm, speed-alarm.wav, into a folder.
//
//   veloran-fix-sounds resources/sounds
//
// The output is a pure function of this source (no random numbers, no clock), so regenerating
// gives byte-identical files; the WAVs are kept in the repository and the build never runs this.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <numbers>
#include <string>
#include <vector>

namespace
{

constexpr int kRate = 22050;

/// One struck note: partials over a fundamental, a short attack and an exponential decay.
struct Note {
    double startS;
    double lengthS;
    double hz;
    double decayPerS; ///< amplitude falls as exp(-decayPerS * t)
    double gain;
    bool bell; ///< add a bright, slightly inharmonic partial for a chime
};

double NoteSample(const Note &note, double t)
{
    if (t < 0.0 || t >= note.lengthS)
        return 0.0;
    constexpr double kAttackS = 0.004;
    constexpr double kReleaseS = 0.025;
    double env = std::exp(-note.decayPerS * t);
    if (t < kAttackS)
        env *= t / kAttackS;
    // Always reach zero at the end of the note so nothing clicks.
    const double left = note.lengthS - t;
    if (left < kReleaseS)
        env *= left / kReleaseS;

    const double w = 2.0 * std::numbers::pi * note.hz * t;
    double v = std::sin(w) + 0.30 * std::sin(2.0 * w) + 0.08 * std::sin(3.0 * w);
    if (note.bell)
        v += 0.12 * std::exp(-12.0 * t) * std::sin(2.76 * w);
    return note.gain * env * v;
}

std::vector<std::int16_t> Render(const std::vector<Note> &notes, double lengthS,
                                 double level = 0.55)
{
    const auto count = static_cast<std::size_t>(std::lround(lengthS * kRate));
    std::vector<double> mix(count, 0.0);
    for (std::size_t i = 0; i < count; ++i) {
        const double t = static_cast<double>(i) / kRate;
        for (const Note &n : notes)
            mix[i] += NoteSample(n, t - n.startS);
    }
    double peak = 0.0;
    for (double v : mix)
        peak = std::max(peak, std::abs(v));
    // Normalise to a fixed level below full scale; the cues are notifications, quieter than the
    // alarm.
    const double scale = peak > 0.0 ? level * 32767.0 / peak : 0.0;
    std::vector<std::int16_t> pcm(count);
    for (std::size_t i = 0; i < count; ++i)
        pcm[i] = static_cast<std::int16_t>(std::lround(mix[i] * scale));
    return pcm;
}

void PutLE(std::string &out, std::uint32_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        out.push_back(static_cast<char>((value >> (8 * i)) & 0xFFu));
}

/// A canonical 44-byte-header RIFF/WAVE file: PCM, mono, 16 bit.
std::string Wav(const std::vector<std::int16_t> &pcm)
{
    const auto dataBytes = static_cast<std::uint32_t>(pcm.size() * 2);
    std::string out;
    out += "RIFF";
    PutLE(out, 36 + dataBytes, 4);
    out += "WAVEfmt ";
    PutLE(out, 16, 4);        // fmt chunk size
    PutLE(out, 1, 2);         // PCM
    PutLE(out, 1, 2);         // mono
    PutLE(out, kRate, 4);     // sample rate
    PutLE(out, kRate * 2, 4); // byte rate
    PutLE(out, 2, 2);         // block align
    PutLE(out, 16, 2);        // bits per sample
    out += "data";
    PutLE(out, dataBytes, 4);
    for (std::int16_t s : pcm)
        PutLE(out, static_cast<std::uint16_t>(s), 2);
    return out;
}

bool WriteFile(const std::string &path, const std::string &bytes)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        std::fprintf(stderr, "veloran-fix-sounds: cannot write %s\n", path.c_str());
        return false;
    }
    std::printf("%s: %zu bytes\n", path.c_str(), bytes.size());
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: veloran-fix-sounds OUTPUT-FOLDER\n");
        return 2;
    }
    const std::string dir = argv[1];

    // Fix gained: a bright rising fourth (E6 then A6), the second note ringing out.
    const std::vector<Note> gained = {
        {0.000, 0.140, 1318.51, 14.0, 0.8, true},
        {0.105, 0.235, 1760.00, 11.0, 1.0, true},
    };
    // Fix lost: a softer falling major third (A5 then F5), rounder and a little longer.
    const std::vector<Note> lost = {
        {0.000, 0.170, 880.00, 7.0, 1.0, false},
        {0.150, 0.200, 698.46, 9.0, 0.9, false},
    };

    bool ok = WriteFile(dir + "/fix-gained.wav", Wav(Render(gained, 0.34)));
    ok = WriteFile(dir + "/fix-lost.wav", Wav(Render(lost, 0.35))) && ok;
    // Speed alarm: three short, bright beeps on one pitch (G6), heard over road noise and unlike
    // the two-note fix cues.
    const std::vector<Note> alarm = {
        {0.000, 0.100, 1567.98, 4.0, 1.0, false},
        {0.140, 0.100, 1567.98, 4.0, 1.0, false},
        {0.280, 0.100, 1567.98, 4.0, 1.0, false},
    };
    ok = WriteFile(dir + "/speed-alarm.wav", Wav(Render(alarm, 0.42, 0.8))) && ok;
    return ok ? 0 : 1;
}
