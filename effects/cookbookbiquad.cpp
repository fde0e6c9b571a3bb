#include "effects/cookbookbiquad.h"

#include <cmath>
#include <complex>

namespace torvo {

void CookbookBiquad::design(float sampleRate, int type, float frequency, float q, float gainDb,
                            bool bandwidth) {
    if (sampleRate == lastRate && type == lastType && frequency == lastFrequency && q == lastQ &&
        gainDb == lastGain && bandwidth == lastBandwidth)
        return;
    lastRate = sampleRate;
    lastType = type;
    lastFrequency = frequency;
    lastQ = q;
    lastGain = gainDb;
    lastBandwidth = bandwidth;
    if (!(sampleRate > 0.0f) || !(q > 0.0f)) return;

    constexpr double kPi = 3.14159265358979323846;
    const double w0 = 2.0 * kPi * double(frequency) / double(sampleRate);
    const double sn = std::sin(w0);
    const double cs = std::cos(w0);
    const double alpha = bandwidth && sn != 0.0
                             ? sn * std::sinh(std::log(2.0) / 2.0 * double(q) * w0 / sn)
                             : sn / (2.0 * double(q));
    const double A = std::pow(10.0, double(gainDb) / 40.0);
    double nb0 = 1, nb1 = 0, nb2 = 0, na0 = 1, na1 = 0, na2 = 0;
    switch (type) {
    case kLowPass:
        nb0 = (1 - cs) / 2, nb1 = 1 - cs, nb2 = (1 - cs) / 2;
        na0 = 1 + alpha, na1 = -2 * cs, na2 = 1 - alpha;
        break;
    case kHighPass:
        nb0 = (1 + cs) / 2, nb1 = -(1 + cs), nb2 = (1 + cs) / 2;
        na0 = 1 + alpha, na1 = -2 * cs, na2 = 1 - alpha;
        break;
    case kBandPassSkirt:
        nb0 = sn / 2, nb1 = 0, nb2 = -sn / 2;
        na0 = 1 + alpha, na1 = -2 * cs, na2 = 1 - alpha;
        break;
    case kBandPassPeak:
        nb0 = alpha, nb1 = 0, nb2 = -alpha;
        na0 = 1 + alpha, na1 = -2 * cs, na2 = 1 - alpha;
        break;
    case kNotch:
        nb0 = 1, nb1 = -2 * cs, nb2 = 1;
        na0 = 1 + alpha, na1 = -2 * cs, na2 = 1 - alpha;
        break;
    case kAllPass:
        nb0 = 1 - alpha, nb1 = -2 * cs, nb2 = 1 + alpha;
        na0 = 1 + alpha, na1 = -2 * cs, na2 = 1 - alpha;
        break;
    case kPeaking:
        nb0 = 1 + alpha * A, nb1 = -2 * cs, nb2 = 1 - alpha * A;
        na0 = 1 + alpha / A, na1 = -2 * cs, na2 = 1 - alpha / A;
        break;
    case kLowShelf: {
        const double beta = std::sqrt(A) * sn / double(q);
        nb0 = A * ((A + 1) - (A - 1) * cs + beta);
        nb1 = 2 * A * ((A - 1) - (A + 1) * cs);
        nb2 = A * ((A + 1) - (A - 1) * cs - beta);
        na0 = (A + 1) + (A - 1) * cs + beta;
        na1 = -2 * ((A - 1) + (A + 1) * cs);
        na2 = (A + 1) + (A - 1) * cs - beta;
        break;
    }
    case kHighShelf: {
        const double beta = std::sqrt(A) * sn / double(q);
        nb0 = A * ((A + 1) + (A - 1) * cs + beta);
        nb1 = -2 * A * ((A - 1) + (A + 1) * cs);
        nb2 = A * ((A + 1) + (A - 1) * cs - beta);
        na0 = (A + 1) - (A - 1) * cs + beta;
        na1 = 2 * ((A - 1) - (A + 1) * cs);
        na2 = (A + 1) - (A - 1) * cs - beta;
        break;
    }
    default:
        return;
    }
    b0 = float(nb0 / na0);
    b1 = float(nb1 / na0);
    b2 = float(nb2 / na0);
    a1 = float(na1 / na0);
    a2 = float(na2 / na0);
}

void CookbookBiquad::reset() {
    state[0] = State{};
    state[1] = State{};
}

void CookbookBiquad::processChannel(int channel, float* x, int n) {
    State s = state[channel];
    for (int i = 0; i < n; ++i) {
        const float y = b0 * x[i] + b1 * s.x1 + b2 * s.x2 - a1 * s.y1 - a2 * s.y2;
        s.x2 = s.x1;
        s.x1 = x[i];
        s.y2 = s.y1;
        s.y1 = y;
        x[i] = y;
    }
    state[channel] = s;
}

void CookbookBiquad::process(float* left, float* right, int n) {
    // Both channels in one loop: their two recursions overlap in the pipeline.
    State l = state[0], r = state[1];
    for (int i = 0; i < n; ++i) {
        const float xl = left[i], xr = right[i];
        const float yl = b0 * xl + b1 * l.x1 + b2 * l.x2 - a1 * l.y1 - a2 * l.y2;
        const float yr = b0 * xr + b1 * r.x1 + b2 * r.x2 - a1 * r.y1 - a2 * r.y2;
        l.x2 = l.x1;
        l.x1 = xl;
        l.y2 = l.y1;
        l.y1 = yl;
        r.x2 = r.x1;
        r.x1 = xr;
        r.y2 = r.y1;
        r.y1 = yr;
        left[i] = yl;
        right[i] = yr;
    }
    state[0] = l;
    state[1] = r;
}

double CookbookBiquad::magnitudeAt(double hz, double sampleRate) const {
    constexpr double kPi = 3.14159265358979323846;
    const std::complex<double> z1 = std::polar(1.0, -2.0 * kPi * hz / sampleRate);
    const std::complex<double> z2 = z1 * z1;
    const std::complex<double> num = double(b0) + double(b1) * z1 + double(b2) * z2;
    const std::complex<double> den = 1.0 + double(a1) * z1 + double(a2) * z2;
    return std::abs(num / den);
}

} // namespace torvo
