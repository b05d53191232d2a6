#pragma once
// Instruments of the other families as they leave the bench: every rule of their audit
// passes. The tests change a few replies to make chosen rules fail.

#include <string>
#include <vector>

#include "instrument/session_fixture.h"
#include "support/temp_dir.h"

namespace ovn::test {

// An RDX of full scale 500 lbf-in, 2 mV/V, adjusted, firmware current everywhere.
// clang-format off
inline const Replies kRdxAudited = {
    {"VR", "i78m165r1005"}, {"ID", "A"}, {"MD", "ZQVD1500V(5-2 lbf-in)"}, {"SN", "12345"},
    {"SH", "S9"}, {"SX", "S9"}, {"CN", "Acme Co"}, {"WO", "W-17"}, {"UN", "lbf-in"}, {"DS", "1"},
    {"FS", "20000"}, {"OL", "1000"}, {"SS", "1"}, {"AOA", "1"}, {"MF", "0"}, {"CEA", "500"},
    {"CEB", "500"}, {"CEC", "-500"}, {"CED", "400"}, {"CEE", "-400"}, {"CFA", "100000"},
    {"CFB", "66920000"}, {"CFC", "-66900000"}, {"CFD", "53536000"}, {"CFE", "-53500000"},
    {"CFF", "1"}, {"CFG", "1500"}, {"CFH", "1500"}, {"CFI", "1500"}, {"OFA", "10000000"},
    {"OFB", "10000000"}, {"TCA", "500"}, {"TCB", "100"}, {"TCC", "1000"}, {"TCD", "200"},
    {"TCE", "65"}, {"AFA", "10000"}, {"AFB", "20000"}, {"AVA", "0"}, {"AVB", "10000000"},
    {"ACA", "0"}, {"ACB", "0"}, {"ACC", "0"}, {"ACD", "0"}, {"ACE", "0"}, {"IAA", "1"},
    {"IAB", "2"}, {"IAC", "4"}, {"IAD", "5"}, {"IAE", "3"}, {"IAF", "0"}, {"IAG", "0"},
    {"PWA", "1"}, {"PWB", "10"}, {"ADA", "532500"}, {"ADB", "430100"}, {"ADC", "327700"},
    {"ADD", "225300"}, {"ADE", "122900"}, {"NT1350", "OK"}, {"NT", "2"},
    {"ND", "1350,135000,64,73.4,126.6"}, {"RCT", "75"}, {"RCR", "0000000000000000000000000000"},
    {"PR", "500"}, {"AR", "0,12908"}};
// clang-format on

// A WQPM of full scale 1000 lbf-in: loads of +-500, 8300 Hz at zero, 1000 Hz more or less
// at the loads (pulses over 60 MHz ticks); its outputs and temperature adjusted.
inline const Replies kWqpmAudited = {{"VR", "3.050"},     {"MD", "ZQVD82001V(1-3 lbf-in)"},
                                     {"SN", "55"},        {"CN", "Acme Co"},
                                     {"WO", "W-17"},      {"SP", "WO\tW-17\tCN\tAcme Co"},
                                     {"DS", "1"},         {"UN", "lbf-in"},
                                     {"CCA", "447A0000"}, {"CCB", "00000000"},
                                     {"CCC", "43FA0000"}, {"CCD", "C3FA0000"},
                                     {"CIA", "8300"},     {"CIB", "60000000"},
                                     {"CIC", "9300"},     {"CID", "60000000"},
                                     {"CIE", "7300"},     {"CIF", "60000000"},
                                     {"AIA", "0"},        {"AIB", "0"},
                                     {"AIC", "0"},        {"AID", "0"},
                                     {"AIE", "0"},        {"AJA", "19900"},
                                     {"AJB", "9950"},     {"AJC", "10"},
                                     {"AJD", "-9950"},    {"AJE", "-19900"},
                                     {"TCA", "00000000"}, {"TCB", "447A0000"},
                                     {"TCC", "41A00000"}, {"TCD", "44FC0000"},
                                     {"TCE", "42700000"}, {"TCF", "00000000"},
                                     {"TCG", "42F00000"}, {"TCH", "41200000"},
                                     {"TCI", "42700000"}, {"TCJ", "00000000"},
                                     {"TCK", "42960000"}, {"TCL", "00000000"},
                                     {"TCM", "42C80000"}, {"TCN", "00000000"},
                                     {"TCO", "00000000"}, {"TCP", "00000000"},
                                     {"CF", "0"},         {"HSA", "0"},
                                     {"HSB", "0"},        {"HSC", "0"},
                                     {"AD", "2214,0"},    {"NT1050", "OK"},
                                     {"NT", "2"},         {"NTD", "1050,105000,2.25,95.1,104.9"}};

// A HZYM of full scale 1000 lbf-in, 30000 counts at full scale, one analog output adjusted
// by the technician; its history (HS0) is added by the test, which encodes it.
// clang-format off
inline const Replies kHzymAudited = {
    {"VR", "1.5.4"}, {"MD", "ZQVD32001V(1-3 lbf-in)"}, {"SE", "12345"}, {"TR", "0"},
    {"FS1", "447A0000"}, {"SC", "3D0888893D08CE70"}, {"GN", "0010"}, {"OF", "0064"},
    {"CR", "44480000"}, {"CC1A", "43FA0000"}, {"CC1B", "C3FA0000"},
    {"TC", "40A0000040400000003C0041"}, {"EN", "1"}, {"AI1", "0000000000000000000000000000"},
    {"Ai1", "0010000AFFF600080005FFFB0000"}, {"XC1", "7"}, {"DS1", "1"}, {"TP", "017E"}};
// clang-format on

// A KSVM of full scale 1000 lbf-in, adjusted on both sides and on its output.
inline const Replies kKsvmAudited = {{"VR", "226"},        {"CR", "ZQVD62001V(1-3 lbf-in)"},
                                     {"CK", "1000"},       {"CF28", "0"},
                                     {"CA", "120"},        {"CB", "1073741824"},
                                     {"CC", "1074000000"}, {"CD", "8192"},
                                     {"CE", "8200"},       {"CF", "65536"},
                                     {"CG", "4"},          {"CH", "1800"},
                                     {"CI", "12"},         {"CL", "500000"},
                                     {"CM", "-501000"},    {"CN", "-30000"},
                                     {"CO", "30000"},      {"CS", "Acme Co"},
                                     {"CP", "4711"},       {"CQ", "S2"},
                                     {"aa", "7"},          {"TP", "597969352"}};

}  // namespace ovn::test
