// The sounds added to the factory library. Each names only the rows it changes from the
// default patch (one saw into the Perfecto low-pass, filter envelope on the cut-off), so the
// character of a sound can be read off its line. List rows take an entry number with '#'.
//
// Matrix and envelope targets are given by target id: 1 Osc1_Amp, 5 Osc1_Pitch, 6 Osc1_CtrlA,
// 9 Osc1_WTMix, 15 Osc2_Pitch, 45 Cutoff_1, 47 Cutoff_2, 116 Phs_Freq. Sources: 7 Env3,
// 9 LFO1, 10 LFO2, 11 LFO3, 13 Velocity, 17 ModWheel, 18 Aftertouch, 23 Stepper1, 24 Stepper2.

#include "tools/factory/factorysounds.h"

namespace torvo::factory {

const std::vector<FactorySound>& factorySounds() {
    static const std::vector<FactorySound> sounds = {
        // Bass
        {"Hollow Square Bass", "Bass", "Bass,Square,Round",
         "A square wave an octave down over a sine sub, with a short filter blip on every note. "
         "Hollow and solid, it sits under busy drums.",
         "mode#0 glide=0.05 volume=0.55 osc1_oct#3 osc1_ctrlA=1 osc1_ctrlB=0.5 mix_osc2=0.35 "
         "osc2_oct#2 osc2_wtmix=1 flt1_cut=0.34 flt1_res=0.22 env1_rel=0.06 env3_dec=0.24 "
         "env3_amt1=0.74 slot1_Amt1=0.72 slot1_Trg1#45"},
        {"Scorpio Wobble Bass", "Bass", "Bass,Wobble,Dubstep",
         "Three detuned saws through the Scorpio filter, swept in eighths by the first LFO. "
         "The mod wheel adds resonance.",
         "mode#0 volume=0.5 osc1_oct#3 osc1_udet=0.6 osc1_ucnt#2 flt1_type#4 flt1_cut=0.3 "
         "flt1_res=0.45 env3_amt1=0.5 lfo1_sync#1 lfo1_time#13 lfo1_form#0 lfo1_target1#45 "
         "lfo1_amt1=0.86 shp_mode#4 shp_drive=0.3 shp_wet=0.4 slot1_Amt1=0.7 slot1_Trg1#46"},
        {"Vowel Growl Bass", "Bass", "Bass,Vocal,Aggressive",
         "The vowel engine an octave down, its vowel walked by the second LFO and pushed "
         "through tube drive. A growling, talking bass for heavy drops.",
         "mode#0 volume=0.5 osc1_type#6 osc1_oct#3 osc1_ctrlA=0.25 osc1_ctrlB=0.4 "
         "flt1_type#3 flt1_cut=0.55 flt1_res=0.25 env3_amt1=0.6 lfo2_sync#1 lfo2_time#10 "
         "lfo2_form#1 lfo2_target1#6 lfo2_amt1=0.82 shp_mode#5 shp_drive=0.45 shp_wet=0.55"},

        // Lead
        {"Portamento Sine Lead", "Lead", "Lead,Sine,Smooth",
         "A pure sine with a soft triangle an octave up, long glide and a vibrato that fades in "
         "on held notes. Sing a melody over anything.",
         "mode#1 glide=0.22 osc1_wtmix=1 mix_osc2=0.18 osc2_oct#5 osc2_wave#1 osc2_wtmix=1 "
         "env1_att=0.02 env1_rel=0.12 env3_amt1=0.5 lfo1_rate=0.6 lfo1_form#0 lfo1_fadein=0.55 "
         "lfo1_target1#5 lfo1_amt1=0.53 del_wet=0.22 rev_mode#2 rev_decay=0.45 rev_wet=0.2"},
        {"Rave Swoop Lead", "Lead", "Lead,Unison,Rave",
         "Seven pulse-width saws in wide unison with a pitch swoop at the start of each note and "
         "chorus on top. A huge lead for rave anthems.",
         "mode#1 glide=0.12 volume=0.45 osc1_type#4 osc1_ctrlB=0.35 osc1_udet=0.7 "
         "osc1_uwid=1 osc1_ucnt#6 flt1_cut=0.72 flt1_res=0.1 env3_amt1=0.6 env2_dec=0.3 "
         "env2_sus=0 env2_target1#5 env2_amt1=0.38 lfo1_rate=0.3 lfo1_target1#7 lfo1_amt1=0.62 "
         "chr_wet=0.3 rev_decay=0.45 rev_wet=0.15"},
        {"Reed Solo Lead", "Lead", "Lead,Woodwind,Expressive",
         "An oboe wave through a band-pass, a breath of noise and a delayed vibrato. "
         "Aftertouch deepens the vibrato for expressive lines.",
         "mode#1 glide=0.06 osc1_wave#18 osc1_wtmix=1 flt1_mode#1 flt1_cut=0.62 flt1_res=0.15 "
         "env1_att=0.06 env1_rel=0.15 env3_amt1=0.55 mix_osc2=0.05 osc2_type#1 osc2_ctrlA=0.7 "
         "lfo1_rate=0.62 lfo1_form#0 lfo1_fadein=0.6 lfo1_target1#5 lfo1_amt1=0.52 "
         "slot2_Src1#18 slot2_Amt1=0.7 slot2_Trg1#87 rev_mode#0 rev_decay=0.45 rev_wet=0.22"},
        {"Bitcrush Chip Lead", "Lead", "Lead,Chiptune,Lo-Fi",
         "A square lead crushed in bits and sample rate, quick glide and a fast square trill"
         " on the mod wheel. Eight-bit melodies.",
         "mode#1 glide=0.04 osc1_ctrlA=1 osc1_ctrlB=0.5 flt1_type#0 env1_att=0 env1_rel=0.04 "
         "shp_mode#3 shp_bit=0.35 shp_sr=0.55 shp_wet=0.7 lfo1_form#2 lfo1_rate=0.78 "
         "slot1_Src2#9 slot1_Amt1=0.56 slot1_Trg1#5 del_wet=0.15"},

        // Pad
        {"Minor Ninth Pad", "Pad", "Pad,Chord,Lush",
         "Five unison voices tuned to a minor ninth chord, so one key plays the whole harmony. "
         "Slow swell, chorus and a long hall.",
         "poly#11 volume=0.45 osc1_ucnt#4 osc1_uoct#9 osc1_udet=0.55 osc1_uwid=0.8 "
         "flt1_cut=0.55 flt1_res=0.1 env1_att=0.45 env1_rel=0.55 env3_att=0.4 env3_dec=0.7 "
         "env3_sus=0.5 env3_amt1=0.62 chr_wet=0.3 rev_mode#2 rev_decay=0.55 rev_wet=0.4"},
        {"Phasing Dust Pad", "Pad", "Pad,Noise,Ambient",
         "Soft saws with a breath of noise drift through a slowly turning phaser while the "
         "third LFO breathes on the cut-off. Dusty and alive.",
         "poly#11 volume=0.5 osc1_udet=0.58 osc1_ucnt#2 osc1_uwid=0.7 mix_osc2=0.12 "
         "osc2_type#1 osc2_ctrlA=0.35 flt1_cut=0.5 flt1_res=0.2 env1_att=0.5 env1_rel=0.6 "
         "env3_amt1=0.5 lfo3_rate=0.2 lfo3_form#0 lfo3_target1#45 lfo3_amt1=0.66 "
         "phs_stages#5 phs_rate=0.04 phs_fback=0.65 phs_wet=0.55 rev_mode#1 rev_wet=0.38"},
        {"Scorpio Horizon Pad", "Pad", "Pad,Evolving,Wide",
         "Wide detuned synth waves through the Scorpio filter, slowly opened and closed by a "
         "long LFO and stepped by a gentle sequencer. A moving horizon for long chords.",
         "poly#11 volume=0.5 osc1_wave#40 osc1_wtmix=0.7 osc1_udet=0.6 osc1_ucnt#3 "
         "osc1_uwid=1 flt1_type#4 flt1_cut=0.45 flt1_res=0.3 env1_att=0.55 env1_rel=0.62 "
         "env3_amt1=0.5 lfo2_rate=0.15 lfo2_form#0 lfo2_target1#45 lfo2_amt1=0.7 "
         "slot2_Src1#23 slot2_Amt1=0.6 slot2_Trg1#9 stp1_time#7 stp1_start2=0.4 stp1_start3=0.8 "
         "stp1_start4=0.2 stp1_start5=0.6 stp1_start6=0 stp1_start7=0.9 stp1_start8=0.3 "
         "chr_wet=0.2 rev_mode#6 rev_wet=0.42"},
        {"Velvet Brass Pad", "Pad", "Pad,Brass,Warm",
         "A brass wave doubled by a detuned saw, each note swelling through the filter. Warm "
         "and round for film chords; velocity opens it up.",
         "poly#11 volume=0.5 osc1_wave#29 osc1_wtmix=0.6 mix_osc2=0.3 osc2_fine=0.53 "
         "flt1_cut=0.42 flt1_res=0.12 env1_att=0.35 env1_rel=0.5 env3_att=0.5 env3_dec=0.6 "
         "env3_sus=0.55 env3_amt1=0.7 env3_vel1=0.75 chr_wet=0.25 rev_mode#2 rev_decay=0.55 "
         "rev_wet=0.35"},

        // Keys
        {"Reed Tremolo Keys", "Keys", "Keys,Electric Piano,Vintage",
         "A reedy piano wave with a bit of warmth and a gentle tremolo from the first LFO. The "
         "mod wheel deepens the tremolo.",
         "poly#7 volume=0.55 osc1_wave#13 osc1_wtmix=0.8 osc1_ctrlA=0.3 flt1_cut=0.62 "
         "env1_dec=0.55 env1_sus=0.2 env1_rel=0.28 env1_vel1=0.75 env3_amt1=0.6 "
         "lfo1_rate=0.66 lfo1_form#0 lfo1_target1#1 lfo1_amt1=0.62 shp_drive=0.2 shp_wet=0.3 "
         "chr_wet=0.25 rev_mode#4 rev_wet=0.18 slot1_Amt1=0.7 slot1_Trg1#87"},
        {"Jangle Court Keys", "Keys", "Keys,Baroque,Bright",
         "A thin doubled pulse through a high-pass, plucked fast and bright: a courtly "
         "harpsichord-like keyboard for counterpoint.",
         "poly#9 volume=0.5 osc1_type#4 osc1_ctrlA=0.3 osc1_ctrlB=0.2 mix_osc2=0.25 "
         "osc2_oct#5 osc2_ctrlA=1 osc2_ctrlB=0.2 flt1_mode#2 flt1_cut=0.3 flt1_res=0.15 "
         "env1_att=0 env1_dec=0.45 env1_sus=0 env1_rel=0.3 env3_amt1=0.5 rev_mode#0 "
         "rev_decay=0.45 rev_wet=0.2"},
        {"Mallet Wood Keys", "Keys", "Keys,Mallet,Percussive",
         "A sine struck by FM at a high ratio that dies away in a moment, leaving a woody tone. "
         "A marimba-like instrument for warm patterns.",
         "poly#9 volume=0.55 osc1_type#2 osc1_ctrlA=0.1 osc1_ctrlB=0.25 flt1_cut=0.75 "
         "env1_att=0 env1_dec=0.4 env1_sus=0 env1_rel=0.3 env2_dec=0.2 env2_sus=0 "
         "env2_target1#6 env2_amt1=0.8 env2_vel1=0.8 env3_amt1=0.5 rev_mode#4 rev_wet=0.2"},

        // Pluck
        {"Steel Harp Pluck", "Pluck", "Pluck,Harp,Bright",
         "A guitar wave in two voices plucked bright and left to ring, with chorus and a "
         "sparkling hall. Arpeggiate chords with it.",
         "poly#11 volume=0.55 osc1_wave#23 osc1_wtmix=1 osc1_ucnt#1 osc1_udet=0.55 "
         "osc1_uwid=0.6 flt1_cut=0.55 env1_att=0 env1_dec=0.5 env1_sus=0 env1_rel=0.4 "
         "env3_dec=0.3 env3_amt1=0.72 chr_wet=0.2 rev_mode#3 rev_decay=0.5 rev_wet=0.3"},
        {"Resonant Drop Pluck", "Pluck", "Pluck,Resonant,Delay",
         "A saw pinged through the resonant Acido filter with a snap of envelope, echoed in "
         "ping-pong eighths. Velocity sets the snap.",
         "poly#7 volume=0.85 mix_osc1=0.7 flt1_type#2 flt1_cut=0.28 flt1_res=0.62 env1_att=0 "
         "env1_dec=0.3 "
         "env1_sus=0 env1_rel=0.25 env3_dec=0.18 env3_amt1=0.85 env3_vel1=0.8 "
         "del_stimeL#7 del_stimeR#9 del_fback=0.45 del_wet=0.3"},
        {"Kalimba Tone Pluck", "Pluck", "Pluck,Kalimba,Soft",
         "A soft FM tine with a short inharmonic strike and a round body, in a small room. "
         "A thumb-piano pluck for gentle melodies.",
         "poly#9 volume=0.55 osc1_type#2 osc1_ctrlA=0.08 osc1_ctrlB=0.4 flt1_cut=0.7 "
         "env1_att=0 env1_dec=0.38 env1_sus=0 env1_rel=0.28 env2_dec=0.15 env2_sus=0 "
         "env2_target1#6 env2_amt1=0.75 env3_amt1=0.5 rev_mode#4 rev_wet=0.22"},
        {"Muted Funk Pluck", "Pluck", "Pluck,Funky,Short",
         "A pulse choked by the Infecto filter with a very short envelope: a muted, percussive "
         "pluck for syncopated chords.",
         "poly#7 volume=0.85 mix_osc1=0.7 osc1_ctrlA=1 osc1_ctrlB=0.3 flt1_type#3 flt1_cut=0.32 "
         "flt1_res=0.35 env1_att=0 env1_dec=0.28 env1_sus=0 env1_rel=0.12 env3_dec=0.12 "
         "env3_amt1=0.8 chr_wet=0.15"},

        // Sequence
        {"Trance Gate Sequence", "Sequence", "Sequenced,Gate,Chord",
         "A wide unison chord chopped into a sixteenth-note gate by the first step sequencer, "
         "which rides both the oscillator and the main volume. Hold a chord and let it pump.",
         "poly#7 volume=0.25 mix_osc1=0.1 osc1_ucnt#3 osc1_udet=0.6 osc1_uwid=0.9 flt1_cut=0.6 "
         "env1_att=0.02 env1_rel=0.2 env3_amt1=0.5 slot2_Src1#23 slot2_Amt1=0.95 "
         "slot2_Trg1#1 slot2_Amt2=0.95 slot2_Trg2#145 stp1_time#16 stp1_end1=1 stp1_end3=1 "
         "stp1_end5=0.8 stp1_end7=1 stp1_end9=1 "
         "stp1_end11=0.7 stp1_end13=1 stp1_end15=1 stp1_start2=0 stp1_start4=0 stp1_start5=0.8 "
         "stp1_start6=0 stp1_start8=0 stp1_start10=0 stp1_start11=0.7 stp1_start12=0 "
         "stp1_start14=0 stp1_start16=0 del_wet=0.2 rev_decay=0.45 rev_wet=0.2"},
        {"Octave Bounce Sequence", "Sequence", "Arpeggio,Sequenced,Bass",
         "The arpeggiator jumps between two octaves in sixteenths with accented steps, over a "
         "plucky low saw. Hold one note for an instant bass line.",
         "poly#7 volume=0.7 mix_osc1=0.7 osc1_oct#3 flt1_type#2 flt1_cut=0.28 flt1_res=0.45 "
         "env1_att=0 "
         "env1_dec=0.25 env1_sus=0 env1_rel=0.15 env3_dec=0.15 env3_amt1=0.82 arp_on#1 "
         "arp_length=0.45 arp_mode#0 arp_octave#1 arp_velocity#2 arp_vel2=0.5 arp_vel3=0.6 "
         "arp_vel4=0.45 arp_vel6=0.5 arp_vel8=0.55"},
        {"Random Bloom Sequence", "Sequence", "Arpeggio,Sequenced,Ambient",
         "The arpeggiator plays held notes in random order in eighths through a soft FM bell, "
         "with a long delay and reverb. Generative flowers of notes.",
         "poly#11 volume=0.5 osc1_type#2 osc1_ctrlA=0.2 osc1_ctrlB=0.5 flt1_cut=0.65 "
         "env1_att=0 env1_dec=0.4 env1_sus=0 env1_rel=0.4 env3_amt1=0.55 arp_on#1 "
         "arp_length=0.5 arp_speed#13 arp_mode#6 arp_octave#2 del_fback=0.45 del_wet=0.35 "
         "rev_mode#1 rev_decay=0.5 rev_wet=0.35"},
        {"Stepper Wave Sequence", "Sequence", "Sequenced,Wavetable,Rhythmic",
         "The second step sequencer morphs a saw into a vocal wave step by step while the "
         "first sequencer opens the filter. A rhythmic timbre pattern from one held note.",
         "poly#7 volume=0.5 osc1_wave#32 osc1_wtmix=0 flt1_cut=0.35 flt1_res=0.3 "
         "env1_rel=0.2 env3_amt1=0.5 slot2_Src1#24 slot2_Amt1=0.95 slot2_Trg1#9 "
         "slot3_Src1#23 slot3_Amt1=0.8 slot3_Trg1#45 stp2_time#16 stp2_start1=0 "
         "stp2_start2=0.5 stp2_start3=1 stp2_start4=0.2 stp2_start5=0.7 stp2_start6=0 "
         "stp2_start7=0.9 stp2_start8=0.4 stp1_time#13 stp1_start2=0.3 stp1_start4=0.5 "
         "del_wet=0.2"},

        // FX
        {"Laser Zap FX", "FX", "FX,Laser,Short",
         "An FM tone whose pitch falls from the sky in a fraction of a second, with echo. "
         "Shots, zaps and transitions.",
         "poly#7 volume=0.8 mix_osc1=0.7 osc1_type#2 osc1_ctrlA=0.3 osc1_ctrlB=0.6 flt1_cut=0.9 "
         "env1_att=0 env1_dec=0.35 env1_sus=0 env1_rel=0.2 env2_dec=0.3 env2_sus=0 "
         "env2_target1#5 env2_amt1=1 env3_amt1=0.5 del_fback=0.5 del_wet=0.3"},
        {"Wind Tunnel FX", "FX", "FX,Noise,Atmosphere",
         "Resonant noise whose band wanders with two slow LFOs through a big reverb: wind "
         "howling in a tunnel. Hold a low note.",
         "poly#11 volume=0.6 osc1_type#1 osc1_ctrlA=0.3 osc1_ctrlB=0.6 osc1_key#0 "
         "flt1_mode#1 flt1_cut=0.5 flt1_res=0.5 env1_att=0.5 env1_rel=0.6 env3_amt1=0.5 "
         "lfo1_rate=0.25 lfo1_form#0 lfo1_target1#6 lfo1_amt1=0.7 lfo2_rate=0.18 "
         "lfo2_form#1 lfo2_target1#45 lfo2_amt1=0.7 rev_mode#2 rev_decay=0.6 rev_wet=0.45"},
        {"Bubble Lab FX", "FX", "FX,Random,Sci-Fi",
         "A sine jumping to random pitches many times a second through a resonant filter and "
         "echo: bubbling lab machinery.",
         "poly#7 volume=0.5 osc1_wtmix=1 flt1_cut=0.6 flt1_res=0.45 env1_att=0 env1_rel=0.2 "
         "env3_amt1=0.5 lfo1_rate=0.8 lfo1_form#3 lfo1_target1#5 lfo1_amt1=0.85 "
         "lfo1_target2#45 lfo1_amt2=0.7 del_wet=0.3 rev_wet=0.2"},
        {"Comb Sweep FX", "FX", "FX,Metallic,Sweep",
         "Detuned saws through the Combo filter whose comb the first LFO sweeps slowly back "
         "and forth: a metallic flanging whoosh.",
         "poly#11 volume=0.5 osc1_ucnt#2 osc1_udet=0.6 osc1_uwid=0.8 flt1_type#5 "
         "flt1_cut=0.5 flt1_res=0.6 env1_att=0.2 env1_rel=0.5 env3_amt1=0.5 lfo1_rate=0.35 "
         "lfo1_form#1 lfo1_target1#45 lfo1_amt1=0.85 rev_mode#1 rev_wet=0.3"},
    };
    return sounds;
}

} // namespace torvo::factory
