#include "audio/soundoutput.h"

#include "audio/portaudiobackend.h"

#include <algorithm>
#include <thread>

namespace AudIO {

SoundOutput::~SoundOutput() = default;

namespace {

class NullOutput final : public SoundOutput {
public:
    NullOutput(AudioFormat format,
               std::shared_ptr<const Chronometer> chronometer,
               std::chrono::milliseconds lead)
        : SoundOutput(format)
        , m_chronometer(std::move(chronometer))
        , m_lead(lead)
    {
    }

    void write(const float *, int frames) override
    {
        using namespace std::chrono;
        if (!m_started) {
            m_origin = m_chronometer->position();
            m_started = true;
        }
        m_written += frames;
        const MTime due
            = m_origin + MTime::fromMSec(m_written * 1000 / format().sampleRate - m_lead.count());
        // Short naps rather than one long one: a stopped chronometer never reaches `due`, and
        // the interrupt must be seen soon.
        while (!interrupted()) {
            const std::int64_t ahead = (due - m_chronometer->position()).toMSec();
            if (ahead <= 0)
                return;
            std::this_thread::sleep_for(milliseconds(std::min<std::int64_t>(ahead, 10)));
        }
    }

    std::string name() const override { return "null"; }
    std::chrono::nanoseconds latency() const override { return m_lead; }

private:
    const std::shared_ptr<const Chronometer> m_chronometer;
    const std::chrono::milliseconds m_lead;
    bool m_started = false;
    MTime m_origin;
    std::int64_t m_written = 0;
};

} // namespace

std::unique_ptr<SoundOutput> nullSoundOutput(AudioFormat format,
                                             std::shared_ptr<const Chronometer> chronometer,
                                             std::chrono::milliseconds lead)
{
    return std::make_unique<NullOutput>(format, std::move(chronometer), lead);
}

std::unique_ptr<SoundOutput> openSoundOutput(AudioFormat format,
                                             std::shared_ptr<const Chronometer> chronometer)
{
    if (std::unique_ptr<SoundOutput> device = PortAudio::openDefaultOutput(format))
        return device;
    return nullSoundOutput(format, std::move(chronometer));
}

} // namespace AudIO
