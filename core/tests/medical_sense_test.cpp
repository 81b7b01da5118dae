#include <gtest/gtest.h>

#include "core/lookup/medical_sense.h"

using namespace talvo;

TEST(MedicalSense, SetMembershipDominatesAndGlossesBreakTies) {
    EXPECT_EQ(MedicalSense::score("脈", std::nullopt), 10);
    EXPECT_EQ(MedicalSense::score("脉", std::nullopt), 9);  // medical, simplified form
    EXPECT_LE(MedicalSense::score("症", "Bệnh chứng."), 10);
    EXPECT_EQ(MedicalSense::score("症", std::nullopt), 9);
    EXPECT_EQ(MedicalSense::score("桌", std::nullopt), 0);
    EXPECT_EQ(MedicalSense::score("桌", "Cái bàn."), 0);
    EXPECT_EQ(MedicalSense::score("桌", "Cái BỆNH."), 1);
}

TEST(MedicalSense, VariantMarkersOnlyCountWithAGloss) {
    EXPECT_EQ(MedicalSense::score("桌", "Giản thể của chữ bệnh."), 0);
    EXPECT_EQ(MedicalSense::score("隂", "Tục dùng như chữ 陰."), -1);
    EXPECT_EQ(MedicalSense::score("陰", std::nullopt), 10);
}

TEST(MedicalSense, CanonicallyEquivalentGlossesMatch) {
    // "chữa" with its accents decomposed still matches the keyword.
    EXPECT_EQ(MedicalSense::score("桌",
                                  "Thuốc chu\xCC\x9B\xCC\x83"
                                  "a."),
              1);
    EXPECT_EQ(MedicalSense::isMedicalChar("氣"), true);
    EXPECT_EQ(MedicalSense::isMedicalChar("\n"), false);
}
