#include "NMEAParser.h"

#include "base/Numbers.h"

#include <cstring>
#include <memory>

CNMEAParser::CNMEAParser(GnssMode mode)
    : m_mode(mode)
    , m_tags{{{"$GPGGA", &m_gga},
              {"$GPGSA", &m_gsa},
              {"$GPGSV", &m_gsv},
              {"$GPRMC", &m_rmc},
              {"$GPVTG", &m_vtg}}}
{
}

namespace
{

// Built anew in place: Reset keeps what the sentences' owners expect to outlive it (the
// position), and the tag table points at these very objects.
template <class Sentence> void Renew(Sentence &sentence)
{
    std::destroy_at(&sentence);
    std::construct_at(&sentence);
}

} // namespace

void CNMEAParser::ForgetFix()
{
    m_gga.m_quality = 0;
    m_gga.m_satellites = 0;
    m_gsa.m_fixMode = 1;
    m_gsa.m_used.Clear();
    m_gsv.m_inView = 0;
    m_gsv.m_moreToCome = false;
    m_sky.Reset();
    m_rmc.m_status.assign(1, 'V'); // not = "V": g++ 12 warns falsely (-Wrestrict)
    m_rmc.m_speedKnots = 0.0;
    m_rmc.m_speedKmh = 0.0;
}

void CNMEAParser::SetMode(GnssMode mode)
{
    m_mode = mode;
    Renew(m_gga);
    Renew(m_gsa);
    Renew(m_gsv);
    Renew(m_rmc);
    Renew(m_vtg);
    m_sky.Reset();
    m_choices = {};
    m_talker = {};
    m_used = true;
    m_skyChanged = false;
    m_endedGsvRun = false;
    m_dopTakenInRun = false;
    m_gsaNumbers.clear();
}

SentenceType CNMEAParser::Parse(std::string_view line)
{
    return m_mode == GnssMode::GpsOnly ? ParseGpsOnly(line) : ParseAllSystems(line);
}

SentenceType CNMEAParser::ParseGpsOnly(std::string_view line)
{
    if (const void *nul = std::memchr(line.data(), '\0', line.size()))
        line =
            line.substr(0, static_cast<std::size_t>(static_cast<const char *>(nul) - line.data()));
    if (m_fields.Split(line) == 0)
        return kSentenceNone;
    const std::string_view tag = m_fields.FieldView(0);
    for (const Tag &t : m_tags) {
        if (t.tag == tag) {
            t.sentence->Parse(m_fields);
            return t.sentence->GetType();
        }
    }
    return kSentenceNone;
}

namespace
{

bool IsUpper(char c)
{
    return c >= 'A' && c <= 'Z';
}

SentenceType TypeOf(std::string_view name)
{
    for (int type = 0; type < kSentenceTypeCount; ++type)
        if (name == SentenceTypeName(type))
            return static_cast<SentenceType>(type);
    return kSentenceNone;
}

// GN speaks for the whole solution, GP for GPS alone; any other talker by arrival.
int TalkerRank(std::array<char, 2> talker)
{
    if (talker[0] == 'G' && talker[1] == 'N')
        return 0;
    if (talker[0] == 'G' && talker[1] == 'P')
        return 1;
    return 2;
}

// Another talker takes over after this many of its sentences without the followed one.
constexpr int kChoicePatience = 3;

} // namespace

bool CNMEAParser::CTalkerChoice::Accept(std::array<char, 2> talker)
{
    if (m_chosen[0] == 0 || talker == m_chosen || TalkerRank(talker) < TalkerRank(m_chosen)
        || ++m_missed > kChoicePatience) {
        m_chosen = talker;
        m_missed = 0;
        return true;
    }
    return false;
}

SentenceType CNMEAParser::ParseAllSystems(std::string_view line)
{
    m_used = true;
    m_skyChanged = false;
    m_endedGsvRun = false;
    if (m_fields.SplitSentence(line) == 0)
        return kSentenceNone;
    const std::string_view tag = m_fields.FieldView(0);
    if (tag.size() != 6 || !IsUpper(tag[1]) || !IsUpper(tag[2]))
        return kSentenceNone;
    m_talker = {tag[1], tag[2]};
    const SentenceType type = TypeOf(tag.substr(3));
    // Whatever it is, a well-formed sentence ends the runs of GSAs and GSVs before it.
    if (type != kSentenceGSA)
        m_sky.EndGsaRun();
    if (type != kSentenceGSV)
        m_skyChanged = m_endedGsvRun = m_sky.EndGsvRun();
    switch (type) {
    case kSentenceGGA:
    case kSentenceRMC:
    case kSentenceVTG: {
        m_used = m_choices[static_cast<std::size_t>(type)].Accept(m_talker);
        if (!m_used)
            break;
        CNMEASentence &sentence = type == kSentenceGGA   ? static_cast<CNMEASentence &>(m_gga)
                                  : type == kSentenceRMC ? static_cast<CNMEASentence &>(m_rmc)
                                                         : static_cast<CNMEASentence &>(m_vtg);
        sentence.Parse(m_fields);
        if (type == kSentenceGGA)
            TakeTime(m_gga.m_time);
        else if (type == kSentenceRMC)
            TakeTime(m_rmc.m_time);
        break;
    }
    case kSentenceGSA:
        ParseGSA();
        break;
    case kSentenceGSV:
        m_fields.ReadInt(1, m_gsv.m_messageCount);
        m_fields.ReadInt(2, m_gsv.m_messageNumber);
        m_gsv.m_moreToCome = m_gsv.m_messageCount != m_gsv.m_messageNumber;
        m_fields.ReadInt(3, m_gsv.m_inView);
        m_sky.OnGSV(m_fields, GetTalker());
        break;
    default:
        break;
    }
    return type;
}

void CNMEAParser::ParseGSA()
{
    // NMEA 4.10 adds the system ID after the DOPs of a 12-slot GSA; other GSAs list any number
    // of satellites with the DOPs last.
    const int data = m_fields.GetCount() - 1;
    std::int32_t systemId = 0;
    const bool hasSystemId =
        data == 18 && m_fields.ReadInt(18, systemId) == 1
        && m_fields.FieldView(18).find_first_not_of("0123456789") == std::string_view::npos;
    const int dopFirst = data == 18 ? 15 : data - 2;
    m_gsaNumbers.clear();
    for (int f = 3; f < dopFirst; ++f) {
        std::int32_t number = 0;
        if (m_fields.ReadInt(f, number) == 1)
            m_gsaNumbers.push_back(number);
    }
    const GnssSystem hint = hasSystemId ? SystemOfNmeaId(systemId) : SystemOfTalker(GetTalker());
    if (m_sky.OnGSA(m_gsaNumbers, hint))
        m_dopTakenInRun = false;

    m_gsa.m_mode.assign(m_fields.FieldView(1));
    m_fields.ReadInt(2, m_gsa.m_fixMode);
    if (dopFirst >= 3) {
        m_fields.ReadDouble(dopFirst, m_gsa.m_pdop);
        m_fields.ReadDouble(dopFirst + 1, m_gsa.m_hdop);
        m_fields.ReadDouble(dopFirst + 2, m_gsa.m_vdop);
    }
    // Every GSA of a run carries the same solution's DOPs: the averages take them once.
    if (m_gsa.m_pdop == 0.0 || m_dopTakenInRun)
        return;
    m_dopTakenInRun = true;
    m_gsa.m_pdopHistory.Add(m_gsa.m_pdop);
    m_gsa.m_hdopHistory.Add(m_gsa.m_hdop);
    m_gsa.m_vdopHistory.Add(m_gsa.m_vdop);
}

void CNMEAParser::TakeTime(const std::string &time)
{
    if (const std::optional<double> seconds = SecondsOfDay(time))
        m_skyChanged = m_sky.SetTime(*seconds) || m_skyChanged;
}

bool CNMEAParser::IsSatelliteReportOpen() const
{
    return m_mode == GnssMode::GpsOnly ? m_gsv.m_moreToCome : m_sky.IsInGsvRun();
}

int CNMEAParser::GetSatellitesInUse() const
{
    return m_mode == GnssMode::GpsOnly ? m_gga.m_satellites : m_sky.GetUsedCount();
}

int CNMEAParser::GetSatellitesInView() const
{
    return m_mode == GnssMode::GpsOnly ? m_gsv.m_inView : m_sky.GetInViewCount();
}
