#include "CaptureController/iaudiocapture.h"

namespace Capture {

IAudioCaptureObserver::~IAudioCaptureObserver() = default;
IAudioCapture::~IAudioCapture() = default;

namespace {
IAudioCapture *current = nullptr;
}

void setAudioCapture(IAudioCapture *capture)
{
    current = capture;
}

IAudioCapture *audioCapture()
{
    return current;
}

} // namespace Capture
