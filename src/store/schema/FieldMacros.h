#pragma once

// The parts of PS_FIELDS that only the preprocessor can do: it turns a list of up to 64 members into a list of field
// descriptions. C++17 has no __VA_OPT__, and -Wpedantic wants an argument for each ellipsis.

// Two names as one, after macros in them have been replaced.
#define PS_JOINED(a, b) PS_JOINED_AS_IS(a, b)
#define PS_JOINED_AS_IS(a, b) a##b

// Whether the argument stands in parentheses: 1 or 0.
#define PS_IN_PARENTHESES(x) PS_SECOND_OF(PS_MARK_PARENTHESES x, 0, 0)
#define PS_MARK_PARENTHESES(...) 0, 1
#define PS_SECOND_OF(...) PS_SECOND_AS_IS(__VA_ARGS__)
#define PS_SECOND_AS_IS(a, b, ...) b

// The number of arguments, up to 64.
#define PS_COUNT(...)                                                                                                 \
  PS_COUNT_AS_IS(__VA_ARGS__, 64, 63, 62, 61, 60, 59, 58, 57, 56, 55, 54, 53, 52, 51, 50, 49, 48, 47, 46, 45, 44, 43, \
                 42, 41, 40, 39, 38, 37, 36, 35, 34, 33, 32, 31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18,  \
                 17, 16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0)
#define PS_COUNT_AS_IS(a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, a11, a12, a13, a14, a15, a16, a17, a18, a19, a20, a21, \
                       a22, a23, a24, a25, a26, a27, a28, a29, a30, a31, a32, a33, a34, a35, a36, a37, a38, a39, a40,  \
                       a41, a42, a43, a44, a45, a46, a47, a48, a49, a50, a51, a52, a53, a54, a55, a56, a57, a58, a59,  \
                       a60, a61, a62, a63, a64, n, ...)                                                                \
  n

// f(a), f(b), ... for each argument.
#define PS_FOR_EACH(f, ...) PS_JOINED(PS_FOR_EACH_OF_, PS_COUNT(__VA_ARGS__))(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_1(f, a) f(a)
#define PS_FOR_EACH_OF_2(f, a, ...) f(a), PS_FOR_EACH_OF_1(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_3(f, a, ...) f(a), PS_FOR_EACH_OF_2(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_4(f, a, ...) f(a), PS_FOR_EACH_OF_3(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_5(f, a, ...) f(a), PS_FOR_EACH_OF_4(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_6(f, a, ...) f(a), PS_FOR_EACH_OF_5(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_7(f, a, ...) f(a), PS_FOR_EACH_OF_6(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_8(f, a, ...) f(a), PS_FOR_EACH_OF_7(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_9(f, a, ...) f(a), PS_FOR_EACH_OF_8(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_10(f, a, ...) f(a), PS_FOR_EACH_OF_9(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_11(f, a, ...) f(a), PS_FOR_EACH_OF_10(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_12(f, a, ...) f(a), PS_FOR_EACH_OF_11(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_13(f, a, ...) f(a), PS_FOR_EACH_OF_12(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_14(f, a, ...) f(a), PS_FOR_EACH_OF_13(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_15(f, a, ...) f(a), PS_FOR_EACH_OF_14(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_16(f, a, ...) f(a), PS_FOR_EACH_OF_15(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_17(f, a, ...) f(a), PS_FOR_EACH_OF_16(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_18(f, a, ...) f(a), PS_FOR_EACH_OF_17(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_19(f, a, ...) f(a), PS_FOR_EACH_OF_18(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_20(f, a, ...) f(a), PS_FOR_EACH_OF_19(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_21(f, a, ...) f(a), PS_FOR_EACH_OF_20(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_22(f, a, ...) f(a), PS_FOR_EACH_OF_21(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_23(f, a, ...) f(a), PS_FOR_EACH_OF_22(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_24(f, a, ...) f(a), PS_FOR_EACH_OF_23(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_25(f, a, ...) f(a), PS_FOR_EACH_OF_24(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_26(f, a, ...) f(a), PS_FOR_EACH_OF_25(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_27(f, a, ...) f(a), PS_FOR_EACH_OF_26(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_28(f, a, ...) f(a), PS_FOR_EACH_OF_27(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_29(f, a, ...) f(a), PS_FOR_EACH_OF_28(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_30(f, a, ...) f(a), PS_FOR_EACH_OF_29(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_31(f, a, ...) f(a), PS_FOR_EACH_OF_30(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_32(f, a, ...) f(a), PS_FOR_EACH_OF_31(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_33(f, a, ...) f(a), PS_FOR_EACH_OF_32(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_34(f, a, ...) f(a), PS_FOR_EACH_OF_33(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_35(f, a, ...) f(a), PS_FOR_EACH_OF_34(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_36(f, a, ...) f(a), PS_FOR_EACH_OF_35(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_37(f, a, ...) f(a), PS_FOR_EACH_OF_36(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_38(f, a, ...) f(a), PS_FOR_EACH_OF_37(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_39(f, a, ...) f(a), PS_FOR_EACH_OF_38(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_40(f, a, ...) f(a), PS_FOR_EACH_OF_39(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_41(f, a, ...) f(a), PS_FOR_EACH_OF_40(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_42(f, a, ...) f(a), PS_FOR_EACH_OF_41(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_43(f, a, ...) f(a), PS_FOR_EACH_OF_42(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_44(f, a, ...) f(a), PS_FOR_EACH_OF_43(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_45(f, a, ...) f(a), PS_FOR_EACH_OF_44(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_46(f, a, ...) f(a), PS_FOR_EACH_OF_45(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_47(f, a, ...) f(a), PS_FOR_EACH_OF_46(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_48(f, a, ...) f(a), PS_FOR_EACH_OF_47(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_49(f, a, ...) f(a), PS_FOR_EACH_OF_48(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_50(f, a, ...) f(a), PS_FOR_EACH_OF_49(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_51(f, a, ...) f(a), PS_FOR_EACH_OF_50(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_52(f, a, ...) f(a), PS_FOR_EACH_OF_51(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_53(f, a, ...) f(a), PS_FOR_EACH_OF_52(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_54(f, a, ...) f(a), PS_FOR_EACH_OF_53(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_55(f, a, ...) f(a), PS_FOR_EACH_OF_54(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_56(f, a, ...) f(a), PS_FOR_EACH_OF_55(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_57(f, a, ...) f(a), PS_FOR_EACH_OF_56(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_58(f, a, ...) f(a), PS_FOR_EACH_OF_57(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_59(f, a, ...) f(a), PS_FOR_EACH_OF_58(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_60(f, a, ...) f(a), PS_FOR_EACH_OF_59(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_61(f, a, ...) f(a), PS_FOR_EACH_OF_60(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_62(f, a, ...) f(a), PS_FOR_EACH_OF_61(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_63(f, a, ...) f(a), PS_FOR_EACH_OF_62(f, __VA_ARGS__)
#define PS_FOR_EACH_OF_64(f, a, ...) f(a), PS_FOR_EACH_OF_63(f, __VA_ARGS__)
