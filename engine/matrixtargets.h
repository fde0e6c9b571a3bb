#pragma once
// What the modulation matrix can reach: the 229 target ids with the parameter each one moves
// and the curve its amount knob follows, the depth targets (a slot's amount, or an envelope's
// or LFO's own amount, as the thing being modulated), and the menus that show sources and
// targets with their stored ids. Menu position and stored id differ in both lists; a preset
// stores the id, the host shows a row's text by position.

#include <cstdint>

namespace torvo {

constexpr int kTargetCount = 229;
constexpr int kSourceCount = 32;
/// Marks a target that names no parameter: it scales another route instead.
constexpr int kDepthTarget = -1;

/// Curve classes of the amount knob: 0 general, 1 pitch (wide dead zone near 0 for fine
/// tuning), 2 cutoff; 3, 4 and 5 are the amount times 1, 2 and 4.
enum CurveClass : int8_t {
    kCurveGeneral = 0,
    kCurvePitch = 1,
    kCurveCutoff = 2,
    kCurveLinear = 3,
    kCurveDouble = 4,
    kCurveQuadruple = 5
};

struct MatrixTargetInfo {
    /// The target's name in the editor's menu.
    const char* menuName;
    /// Name of the parameter it moves; null for a depth target.
    const char* paramName;
    /// Curve class, or kDepthTarget.
    int curveClass;
};

/// Target `id` (1..229); null outside.
const MatrixTargetInfo* matrixTarget(int id);

/// Targets 155..214: amount k of user slot s (SlotS_AmountK).
constexpr bool isSlotAmountTarget(int t) {
    return t >= 155 && t <= 214;
}
/// The envelopes' and LFOs' own amounts as targets: EnvN_Amt1/2 and LFON_Amt1/2.
bool isModuleDepthTarget(int t);
inline bool isDepthTarget(int t) {
    return isSlotAmountTarget(t) || isModuleDepthTarget(t);
}

/// Which slot and item a depth target scales: slots 0..14 for SlotS_AmountK, 15..18 for the
/// envelopes' pairs and 19..22 for the LFOs'. False for any other target.
bool depthTargetAddress(int t, int& slot, int& item);

/// Parameter id to target id (1..229), 0 when no target moves the parameter. Built once.
int targetOfParam(int paramId);
/// Curve class of the target that moves a parameter; kCurveGeneral when none does.
int curveOfParam(int paramId);
/// Parameter id moved by target `id`, or -1 (depth targets, off, out of range).
int paramOfTarget(int id);

/// The editor's target menu: "name:id" tokens in menu order, groups opened by "#Name" and
/// closed by "@". Its order is the order of the flat list the host shows.
extern const char kTargetMenu[];

/// Menu position (separators and group marks skipped) of a stored id; -1 when unknown.
/// This is the map the editor hands the display text of a `Src` or `Trg` row.
int sourceMenuPosition(int id);
int targetMenuPosition(int id);
/// Index-to-position maps in the form the parameter rows' display text takes. They cover every
/// index a `Src` row (0..39) or a `Trg` row (0..229) can hold; ids the engine reads as off
/// show "off".
const int* sourceMenuMap();
const int* targetMenuMap();

} // namespace torvo
