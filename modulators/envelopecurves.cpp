#include "modulators/envelopecurves.h"

#include <algorithm>
#include <cmath>

namespace torvo {

const float EnvelopeCurves::envTime[kEnvCurvePoints] = {
    0.0f,    0.0003f, 0.0005f, 0.0007f, 0.0009f, 0.0012f, 0.0015f, 0.002f,
    0.0028f, 0.0039f, 0.0054f, 0.0074f, 0.01f,   0.0135f, 0.018f,  0.0238f,
    0.0312f, 0.0404f, 0.052f,  0.0664f, 0.0849f, 0.1075f, 0.1359f, 0.171f,
    0.2154f, 0.2705f, 0.3392f, 0.4249f, 0.5308f, 0.6602f, 0.8169f, 1.0f};

const float EnvelopeCurves::attackExp[kEnvCurvePoints] = {
    0.0f,    0.0084f, 0.0178f, 0.0285f, 0.041f,  0.0554f, 0.0716f, 0.0898f,
    0.1104f, 0.1335f, 0.1595f, 0.1887f, 0.2212f, 0.2575f, 0.2985f, 0.3436f,
    0.3935f, 0.4476f, 0.5055f, 0.5659f, 0.6267f, 0.6859f, 0.7413f, 0.7915f,
    0.8359f, 0.8738f, 0.9065f, 0.9334f, 0.9558f, 0.9741f, 0.9887f, 1.0f};

const float EnvelopeCurves::attackPow[kEnvCurvePoints] = {
    0.0f,    0.1281f, 0.2158f, 0.285f,  0.3441f, 0.3951f, 0.441f,  0.4828f,
    0.5212f, 0.5567f, 0.5898f, 0.6209f, 0.6501f, 0.6777f, 0.7039f, 0.7287f,
    0.7523f, 0.7747f, 0.7961f, 0.8165f, 0.836f,  0.8547f, 0.8726f, 0.8897f,
    0.9061f, 0.9217f, 0.9366f, 0.9508f, 0.9643f, 0.9771f, 0.9891f, 1.0f};

const float EnvelopeCurves::decayExp2[kEnvCurvePoints] = {
    0.0f,    0.0978f, 0.1782f, 0.248f,  0.309f,  0.3642f, 0.4146f, 0.461f,
    0.5036f, 0.5434f, 0.5806f, 0.6156f, 0.6485f, 0.6796f, 0.7089f, 0.7367f,
    0.763f,  0.7879f, 0.8115f, 0.8338f, 0.855f,  0.875f,  0.8938f, 0.9114f,
    0.9279f, 0.9432f, 0.9573f, 0.97f,   0.9812f, 0.9906f, 0.9974f, 1.0f};

const float EnvelopeCurves::decayPow[kEnvCurvePoints] = {
    0.0f,    0.0105f, 0.021f,  0.0328f, 0.0449f, 0.0581f, 0.0718f, 0.0864f,
    0.102f,  0.1181f, 0.1358f, 0.1541f, 0.1734f, 0.1942f, 0.216f,  0.2389f,
    0.2635f, 0.2896f, 0.3172f, 0.3466f, 0.3779f, 0.4113f, 0.4471f, 0.4855f,
    0.5269f, 0.5718f, 0.621f,  0.6752f, 0.7357f, 0.8048f, 0.8873f, 1.0f};

const float EnvelopeCurves::decayExp1[kEnvCurvePoints] = {
    0.0f,    0.1884f, 0.3332f, 0.4459f, 0.536f,  0.6086f, 0.6681f, 0.7174f,
    0.7592f, 0.7942f, 0.8244f, 0.8498f, 0.8718f, 0.8908f, 0.9073f, 0.9216f,
    0.9339f, 0.9446f, 0.9538f, 0.9618f, 0.9686f, 0.9746f, 0.9797f, 0.9841f,
    0.9878f, 0.9908f, 0.9933f, 0.9954f, 0.9972f, 0.9984f, 0.9993f, 1.0f};

const float EnvelopeCurves::bounceCurve[kEnvCurvePoints] = {
    1.0f,    0.9334f, 0.866f,  0.7981f, 0.7299f, 0.662f,  0.5948f, 0.5292f,
    0.466f,  0.4063f, 0.3508f, 0.3f,    0.2546f, 0.2147f, 0.1796f, 0.1496f,
    0.1235f, 0.1017f, 0.0829f, 0.0669f, 0.0536f, 0.0424f, 0.033f,  0.0252f,
    0.0188f, 0.0135f, 0.0092f, 0.006f,  0.0036f, 0.0018f, 0.0007f, 0.0f};

const float EnvelopeCurves::slopeExp[kEnvCurvePoints] = {
    0.0f,    0.0057f, 0.0115f, 0.0175f, 0.0236f, 0.03f,   0.0367f, 0.0437f,
    0.0511f, 0.059f,  0.0675f, 0.0766f, 0.0865f, 0.0973f, 0.1093f, 0.1226f,
    0.1374f, 0.1541f, 0.1731f, 0.195f,  0.22f,   0.2491f, 0.283f,  0.323f,
    0.3699f, 0.4252f, 0.4906f, 0.5675f, 0.6569f, 0.7592f, 0.8739f, 1.0f};

const float EnvelopeCurves::slopePow[kEnvCurvePoints] = {
    0.0f,    0.1365f, 0.2684f, 0.3883f, 0.4894f, 0.5687f, 0.6282f, 0.6731f,
    0.7075f, 0.7346f, 0.7571f, 0.7757f, 0.792f,  0.8066f, 0.8199f, 0.8322f,
    0.8438f, 0.8549f, 0.8657f, 0.8762f, 0.8865f, 0.8968f, 0.9069f, 0.9171f,
    0.9272f, 0.9374f, 0.9476f, 0.9579f, 0.9683f, 0.9788f, 0.9894f, 1.0f};

const float EnvelopeCurves::releaseExp2[kEnvCurvePoints] = {
    0.0f,    0.1056f, 0.1991f, 0.2812f, 0.3546f, 0.4208f, 0.4808f, 0.5348f,
    0.5839f, 0.6288f, 0.6697f, 0.7072f, 0.7414f, 0.7727f, 0.8012f, 0.8271f,
    0.8506f, 0.8719f, 0.8911f, 0.9084f, 0.9239f, 0.9377f, 0.9499f, 0.9603f,
    0.9694f, 0.9771f, 0.9834f, 0.9885f, 0.9926f, 0.9956f, 0.9979f, 1.0f};

const float EnvelopeCurves::releasePow[kEnvCurvePoints] = {
    0.0f,    0.0008f, 0.0016f, 0.0022f, 0.0026f, 0.0029f, 0.0031f, 0.0032f,
    0.0033f, 0.0033f, 0.0035f, 0.0037f, 0.0041f, 0.0049f, 0.006f,  0.0078f,
    0.0102f, 0.0137f, 0.0185f, 0.025f,  0.0338f, 0.0455f, 0.0617f, 0.0828f,
    0.1121f, 0.1518f, 0.2065f, 0.2826f, 0.3906f, 0.5412f, 0.7447f, 1.0f};

const float EnvelopeCurves::releaseExp1[kEnvCurvePoints] = {
    0.0f,    0.2786f, 0.4915f, 0.6364f, 0.7336f, 0.7997f, 0.8471f, 0.882f,
    0.9077f, 0.9278f, 0.943f,  0.9549f, 0.9644f, 0.9719f, 0.9779f, 0.9826f,
    0.9864f, 0.9894f, 0.9918f, 0.9936f, 0.995f,  0.9962f, 0.997f,  0.9977f,
    0.9982f, 0.9986f, 0.9989f, 0.9992f, 0.9994f, 0.9996f, 0.9998f, 1.0f};

float envelopeRate(float x, float sampleRate) {
    float t = 0.0f;
    if (std::isfinite(x)) t = readEnvCurve(EnvelopeCurves::envTime, std::clamp(x, 0.0f, 1.0f));
    return 1.0f / (sampleRate * 44.0f * t + 1.0f);
}

} // namespace torvo
