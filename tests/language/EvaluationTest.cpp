// What statements make: the class, shape and values of the results of
// literals, concatenation, ranges, transposes, sums and the constructors;
// structures built field by field; and the errors of each.
#include "language/language_support.hpp"

#include <qzservices/orrery/InterruptException.hpp>
#include <uv/uv.hpp>

#include <cmath>
#include <limits>

using namespace qztest;

class Concatenation : public LanguageTest {};

TEST_F(Concatenation, RowsAreJoinedLeftToRightThenTopToBottom) {
    run("A = [1 2; 3 4]; B = [A, [5; 6]]; C = [A; 7 8];");
    EXPECT_EQ(dims("B"), (Dims{2, 3}));
    EXPECT_EQ(values("B"), (Values{1, 3, 2, 4, 5, 6}));
    EXPECT_EQ(dims("C"), (Dims{3, 2}));
    EXPECT_EQ(values("C"), (Values{1, 3, 7, 2, 4, 8}));
}

TEST_F(Concatenation, AnEmptyBracketVanishes) {
    run("a = [[] 1 [] 2]; b = [[]; [3 4]]; e = [[], []];");
    EXPECT_EQ(values("a"), (Values{1, 2}));
    EXPECT_EQ(dims("b"), (Dims{1, 2}));
    EXPECT_EQ(dims("e"), (Dims{0, 0}));
    EXPECT_EQ(vxGetClassID(var("e")), vxDOUBLE_CLASS);
}

TEST_F(Concatenation, TheResultClassFollowsCharThenIntegerThenSingle) {
    run("c = ['a' 66]; i = [int8(1) 300.6 -2.5]; s = [single(1) 2]; l = [true false]; d = [true 2];");
    EXPECT_EQ(vxGetClassID(var("c")), vxCHAR_CLASS);
    EXPECT_EQ(vxArrayToStdString(var("c")), "aB");
    EXPECT_EQ(vxGetClassID(var("i")), vxINT8_CLASS);
    EXPECT_EQ(values("i"), (Values{1, 127, -3}));  // saturated, halves away from zero
    EXPECT_EQ(vxGetClassID(var("s")), vxSINGLE_CLASS);
    EXPECT_EQ(vxGetClassID(var("l")), vxLOGICAL_CLASS);
    EXPECT_EQ(vxGetClassID(var("d")), vxDOUBLE_CLASS);
}

TEST_F(Concatenation, AComplexPartMakesTheWholeResultComplex) {
    run("z = [1, 2i; 3, 4];");
    EXPECT_TRUE(vxIsComplex(var("z")));
    EXPECT_EQ(values("z"), (Values{1, 3, 0, 4}));
    EXPECT_EQ(imags("z"), (Values{0, 0, 2, 0}));
}

TEST_F(Concatenation, SizesThatDisagreeAreRefused) {
    EXPECT_EQ(errorOf("[1 2; 3]"), "The sizes 1x2 and 1x1 do not agree for concatenation along dimension 1.");
    EXPECT_EQ(errorOf("[[1; 2] 3]"), "The sizes 2x1 and 1x1 do not agree for concatenation along dimension 2.");
    EXPECT_EQ(errorOf("[{1} 2]"), "A cell array can only be concatenated with cell arrays.");
    EXPECT_EQ(errorOf("[@sin @cos]"), "Values of class function_handle cannot be concatenated.");
}

TEST_F(Concatenation, CatJoinsAlongAnyDimension) {
    run("a = cat(3, [1 2], [3 4]); b = cat(1, {1}, {'x'}); c = cat(2, sparse([1 0]), [0 2]);");
    EXPECT_EQ(dims("a"), (Dims{1, 2, 2}));
    EXPECT_EQ(values("a"), (Values{1, 2, 3, 4}));
    EXPECT_EQ(dims("b"), (Dims{2, 1}));
    EXPECT_EQ(vxGetClassID(var("b")), vxCELL_CLASS);
    EXPECT_TRUE(vxIsSparse(var("c")));
    EXPECT_EQ(values("c"), (Values{1, 0, 0, 2}));
    EXPECT_NE(errorOf("cat(0, 1, 2)"), "");
}

class Ranges : public LanguageTest {};

TEST_F(Ranges, StepsCountFromTheStartAndReachTheEndDespiteRounding) {
    run("a = 1:4; b = 10:-3:1; c = 0:0.1:1; d = 5:1; e = 1:0:5;");
    EXPECT_EQ(values("a"), (Values{1, 2, 3, 4}));
    EXPECT_EQ(values("b"), (Values{10, 7, 4, 1}));
    EXPECT_EQ(dims("c"), (Dims{1, 11}));
    EXPECT_NEAR(values("c").back(), 1.0, 1e-12);
    EXPECT_EQ(dims("d"), (Dims{1, 0}));
    EXPECT_EQ(dims("e"), (Dims{1, 0}));
}

TEST_F(Ranges, HugeOrUnboundedRangesAreRefusedNotAllocated) {
    EXPECT_EQ(errorOf("1:1e12"), "The array would have more than 10000000 elements.");
    EXPECT_EQ(errorOf("0:Inf"), "The array would have more than 10000000 elements.");
    EXPECT_EQ(errorOf("1:'a'"), "");  // a character is a number
    EXPECT_EQ(errorOf("1:{2}"), "A range needs real numbers at its ends.");
}

class Arithmetic : public LanguageTest {};

TEST_F(Arithmetic, SumsOfRealAndImaginaryPartsAndUnaryMinus) {
    run("a = 3+4i; b = 3-4i; c = -a; d = a - 4i; e = [1 2] + 1; f = -int8(-128);");
    EXPECT_EQ(values("a"), (Values{3}));
    EXPECT_EQ(imags("a"), (Values{4}));
    EXPECT_EQ(imags("b"), (Values{-4}));
    EXPECT_EQ(values("c"), (Values{-3}));
    EXPECT_EQ(imags("c"), (Values{-4}));
    EXPECT_FALSE(vxIsComplex(var("d"))) << "imaginary parts that cancel leave a real value";
    EXPECT_EQ(values("e"), (Values{2, 3}));
    EXPECT_EQ(values("f"), (Values{127})) << "integer negation saturates";
}

TEST_F(Arithmetic, MismatchedOrUnsupportedOperandsAreRefused) {
    EXPECT_EQ(errorOf("[1 2] + [1 2 3]"), "The sizes 1x2 and 1x3 do not agree for '+'.");
    EXPECT_EQ(errorOf("int8(1) + int16(1)"), "Integers of classes int8 and int16 cannot be combined.");
    EXPECT_EQ(errorOf("{1} - 1"), "The operator '-' is not defined for values of class cell.");
    EXPECT_EQ(errorOf("-@sin"), "The operator '-' is not defined for values of class function_handle.");
}

TEST_F(Arithmetic, TransposeConjugatesAndDotTransposeDoesNot) {
    run("a = [1+2i 3]'; b = [1+2i 3].'; c = ['ab'; 'cd']'; d = {1, 'x'}';");
    EXPECT_EQ(dims("a"), (Dims{2, 1}));
    EXPECT_EQ(imags("a"), (Values{-2, 0}));
    EXPECT_EQ(imags("b"), (Values{2, 0}));
    EXPECT_EQ(vxArrayToStdString(var("c")), "abcd");  // rows "ac" and "bd", column-major
    EXPECT_EQ(dims("d"), (Dims{2, 1}));
    EXPECT_EQ(errorOf("zeros(2, 2, 2)'"), "Transpose is defined for arrays of two dimensions only.");
}

class Constructors : public LanguageTest {};

TEST_F(Constructors, SizesAsCountsAsARowOrWithAClass) {
    run("a = zeros(2); b = ones(2, 3); c = eye(2, 3); d = zeros([1 4]); e = ones(2, 'uint8'); f = zeros(2, 1, 1);");
    EXPECT_EQ(dims("a"), (Dims{2, 2}));
    EXPECT_EQ(values("b"), (Values{1, 1, 1, 1, 1, 1}));
    EXPECT_EQ(values("c"), (Values{1, 0, 0, 1, 0, 0}));
    EXPECT_EQ(dims("d"), (Dims{1, 4}));
    EXPECT_EQ(vxGetClassID(var("e")), vxUINT8_CLASS);
    EXPECT_EQ(dims("f"), (Dims{2, 1})) << "trailing singleton dimensions are dropped";
    run("g = zeros(-3);");
    EXPECT_EQ(dims("g"), (Dims{0, 0}));
    EXPECT_EQ(errorOf("zeros(1.5)"), "zeros needs whole numbers as sizes.");
    EXPECT_EQ(errorOf("zeros(NaN)"), "zeros needs whole numbers as sizes.");
    EXPECT_EQ(errorOf("ones(2, 'text')"), "ones cannot make values of class 'text'.");
    EXPECT_EQ(errorOf("zeros(1e5, 1e5)"), "The array would have more than 10000000 elements.");
}

TEST_F(Constructors, RandIsRepeatableAndStaysInsideTheOpenInterval) {
    run("r = rand(1, 1000);");
    Values first = values("r");
    qzlang::Session other;
    other.execute("r = rand(1, 1000);");
    qzlang::ArrayPtr again(vxDuplicateArray(other.find("r")));
    for (size_t k = 0; k < first.size(); ++k) {
        EXPECT_GT(first[k], 0.0);
        EXPECT_LT(first[k], 1.0);
        EXPECT_EQ(first[k], qzlang::realAt(again.get(), k));
    }
    run("s = rand(1, 1000);");
    EXPECT_NE(values("s"), first) << "the generator goes on within a session";
}

TEST_F(Constructors, ReshapeKeepsTheElementsInOrder) {
    run("a = reshape(1:6, 3, 2); b = reshape(1:8, [2 2 2]);");
    EXPECT_EQ(dims("a"), (Dims{3, 2}));
    EXPECT_EQ(values("a"), (Values{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(dims("b"), (Dims{2, 2, 2}));
    EXPECT_EQ(errorOf("reshape(1:6, 4, 2)"), "reshape cannot change the number of elements (6 to 8).");
    EXPECT_EQ(errorOf("reshape(1:6)"), "reshape needs at least 2 arguments.");
}

TEST_F(Constructors, ConversionsRoundSaturateAndRefuseWhatHasNoNumber) {
    run("a = int8([-200 2.5 -2.5 NaN]); b = uint8(-1); c = uint64(1); d = logical([0 3]); e = char([72 105]);"
        " f = single(0.25); g = double('A');");
    EXPECT_EQ(values("a"), (Values{-128, 3, -3, 0}));
    EXPECT_EQ(values("b"), (Values{0}));
    EXPECT_EQ(values("d"), (Values{0, 1}));
    EXPECT_EQ(vxArrayToStdString(var("e")), "Hi");
    EXPECT_EQ(vxGetClassID(var("f")), vxSINGLE_CLASS);
    EXPECT_EQ(values("g"), (Values{65}));
    EXPECT_EQ(errorOf("logical(NaN)"), "NaN cannot be converted to logical.");
    EXPECT_EQ(errorOf("logical(1i)"), "Complex values cannot be converted to logical.");
    EXPECT_EQ(errorOf("double({1})"), "Values of class cell cannot be converted to a number.");
}

TEST_F(Constructors, CharPadsRowsWithBlanks) {
    run("c = char('a', 'bcd');");
    EXPECT_EQ(dims("c"), (Dims{2, 3}));
    EXPECT_EQ(vxArrayToStdString(var("c")), "ab c d");  // rows "a  " and "bcd", column-major
}

TEST_F(Constructors, SparseFromAFullArrayFromPlacesAndEmpty) {
    run("a = sparse([0 2; 3 0]); b = sparse([1 1 2], [1 1 3], [5 6 7]); c = sparse(2, 3); d = sparse([1 2], [1 2], 1, 4, 4);");
    EXPECT_TRUE(vxIsSparse(var("a")));
    EXPECT_EQ(values("a"), (Values{0, 3, 2, 0}));
    EXPECT_EQ(vxGetJc(var("a"))[2], 2u);
    EXPECT_EQ(values("b"), (Values{11, 0, 0, 0, 0, 7})) << "values at one place add up";
    EXPECT_EQ(dims("c"), (Dims{2, 3}));
    EXPECT_EQ(vxGetJc(var("c"))[3], 0u);
    EXPECT_EQ(dims("d"), (Dims{4, 4}));
    EXPECT_EQ(errorOf("sparse(0, 1, 1)"), "sparse needs positive whole numbers as rows and columns.");
    EXPECT_EQ(errorOf("sparse(int8(1))"), "");
    EXPECT_EQ(errorOf("sparse({1})"), "Values of class cell cannot be converted to a number.");
    EXPECT_EQ(errorOf("sparse(3, 1, 1, 2, 2)"), "sparse: a place lies outside the 2-by-2 size.");
}

TEST_F(Constructors, ComplexKeepsAZeroImaginaryPart) {
    run("z = complex(3, 0); w = complex([1 2], 5);");
    EXPECT_TRUE(vxIsComplex(var("z")));
    EXPECT_EQ(imags("w"), (Values{5, 5}));
}

TEST_F(Constructors, CellsAndHandles) {
    run("c = {1, 'abc'; [1 2 3], @sin}; e = {}; n = cell(2, 3); h = @sin;");
    EXPECT_EQ(dims("c"), (Dims{2, 2}));
    EXPECT_EQ(vxArrayToStdString(vxGetCell(var("c"), 1 * 2)), "abc");
    EXPECT_EQ(vxGetClassID(vxGetCell(var("c"), 3)), vxFUNCTION_CLASS);
    EXPECT_EQ(dims("e"), (Dims{0, 0}));
    EXPECT_EQ(dims("n"), (Dims{2, 3}));
    EXPECT_EQ(vxGetCell(var("n"), 0), nullptr);
    EXPECT_EQ(vxFunctionHandleToString(static_cast<function_handle_tag const*>(vxGetData(var("h")))), "@sin");
    EXPECT_EQ(errorOf("{1, 2; 3}"), "The rows of a cell array differ in length (2 and 1).");
}

class Structures : public LanguageTest {};

TEST_F(Structures, FieldsAreAddedInOrderAndNest) {
    run("s.a = 1; s.name = 'x'; s.a = 2; s.inner.deep = 3;");
    vxArray const* s = var("s");
    ASSERT_EQ(vxGetNumberOfFields(s), 3);
    EXPECT_STREQ(vxGetFieldNameByNumber(s, 0), "a");
    EXPECT_STREQ(vxGetFieldNameByNumber(s, 1), "name");
    EXPECT_EQ(vxGetScalar(vxGetFieldByNumber(s, 0, 0)), 2);
    vxArray const* inner = vxGetFieldByNumber(s, 0, 2);
    ASSERT_EQ(vxGetClassID(inner), vxSTRUCT_CLASS);
    EXPECT_EQ(vxGetScalar(vxGetFieldByNumber(inner, 0, vxGetFieldNumber(inner, "deep"))), 3);
    run("t = s.inner.deep;");
    EXPECT_EQ(values("t"), (Values{3}));
}

TEST_F(Structures, AnIndexedElementGrowsTheArrayAndNewMembersAreEmpty) {
    run("s(2).a = 1; s(3).b = 'x';");
    vxArray const* s = var("s");
    EXPECT_EQ(dims("s"), (Dims{1, 3}));
    ASSERT_EQ(vxGetNumberOfFields(s), 2);
    vxArray const* first = vxGetFieldByNumber(s, 0, 0);
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(vxIsEmpty(first));
    EXPECT_EQ(vxGetScalar(vxGetFieldByNumber(s, 1, 0)), 1);
    EXPECT_EQ(vxArrayToStdString(vxGetFieldByNumber(s, 2, 1)), "x");
    run("m(2, 2).v = 5;");
    EXPECT_EQ(dims("m"), (Dims{2, 2}));
}

TEST_F(Structures, StructMakesAnArrayFromCells) {
    run("s = struct('a', {1, 2}, 'b', 'same'); t = struct('c', {{1, 2}}); u = struct();");
    EXPECT_EQ(dims("s"), (Dims{1, 2}));
    EXPECT_EQ(vxGetScalar(vxGetFieldByNumber(var("s"), 1, 0)), 2);
    EXPECT_EQ(vxArrayToStdString(vxGetFieldByNumber(var("s"), 1, 1)), "same");
    EXPECT_EQ(dims("t"), (Dims{1, 1}));
    EXPECT_EQ(vxGetClassID(vxGetFieldByNumber(var("t"), 0, 0)), vxCELL_CLASS);
    EXPECT_EQ(vxGetNumberOfFields(var("u")), 0);
    EXPECT_EQ(errorOf("struct('a')"), "struct takes pairs of a field name and a value.");
    EXPECT_EQ(errorOf("struct('a', {1, 2}, 'b', {1, 2, 3})"), "The cells given to struct differ in size.");
}

TEST_F(Structures, BadTargetsAreRefusedAndLeaveTheVariableAsItWas) {
    run("x = 5; s(2).a = 1;");
    EXPECT_EQ(errorOf("x.a = 1"), "Fields can only be set on a structure, not on a value of class double.");
    EXPECT_EQ(values("x"), (Values{5}));
    EXPECT_EQ(errorOf("s.b = 1"), "Name the element of the structure array, as in s(2).b.");
    EXPECT_EQ(errorOf("s(0).a = 1"), "An index must be a positive whole number, not 0.");
    EXPECT_EQ(errorOf("x(2) = 1"), "Indexed assignment is supported for structure elements only, as in s(2).a = 1.");
    EXPECT_EQ(errorOf("s(1).a = undefinedName"), "'undefinedName' is not a variable or a function.");
    EXPECT_EQ(dims("s"), (Dims{1, 2}));
    EXPECT_EQ(errorOf("y = x.a"), "A value of class double has no fields.");
}

class Statements : public LanguageTest {};

TEST_F(Statements, ResultsShowUnderTheirNameOrAnsAndQuietOnesNot) {
    EXPECT_EQ(run("a = 1"), "\na =\n\n     1\n\n");
    EXPECT_EQ(run("a;"), "");
    EXPECT_EQ(run("a"), "\na =\n\n     1\n\n") << "a bare variable shows under its own name";
    EXPECT_EQ(run("2"), "\nans =\n\n     2\n\n");
    EXPECT_EQ(values("ans"), (Values{2}));
    EXPECT_EQ(run("disp(7)"), "     7\n\n");
    EXPECT_EQ(values("ans"), (Values{2})) << "disp has no value, so ans stays";
    EXPECT_EQ(errorOf("x = disp(1)"), "'disp' has no value to use.");
    EXPECT_EQ(errorOf("[disp(1) 2]"), "'disp' has no value to use.");
    EXPECT_EQ(errorOf("1 + disp(1)"), "'disp' has no value to use.");
    EXPECT_EQ(errorOf("-disp(1)'"), "'disp' has no value to use.");
}

TEST_F(Statements, StatementsBeforeAFailureHaveRun) {
    EXPECT_EQ(errorOf("a = 1; b = nothing; c = 3;"), "'nothing' is not a variable or a function.");
    EXPECT_NE(session.find("a"), nullptr);
    EXPECT_EQ(session.find("c"), nullptr);
}

TEST_F(Statements, ACommandThatAsksToLeaveStopsTheRest) {
    session.commands().add({"leave", "leave", [](qzlang::Session&, std::vector<std::string> const&) {
                                return qzlang::CommandResult::Exit;
                            }});
    Capture capture;
    EXPECT_EQ(session.execute("a = 1; leave; b = 2;"), qzlang::CommandResult::Exit);
    EXPECT_EQ(session.find("b"), nullptr);
}

TEST_F(Statements, AVariableHidesACommandOfTheSameName) {
    run("clear = 4;");
    EXPECT_EQ(run("clear"), "\nclear =\n\n     4\n\n");
}

TEST_F(Statements, FormatWordsSetThePrintFormatAndSpacing) {
    run("format long");
    EXPECT_EQ(GetPrtfmt(), PrtfmtLong);
    run("format short e");
    EXPECT_EQ(GetPrtfmt(), PrtfmtShortE);
    run("format compact");
    EXPECT_EQ(GetNewline()[0], '\0');
    run("format RAT loose");
    EXPECT_EQ(GetPrtfmt(), PrtfmtRational);
    EXPECT_EQ(GetNewline()[0], '\n');
    run("format compact; format");
    EXPECT_EQ(GetPrtfmt(), PrtfmtShort);
    EXPECT_EQ(GetNewline()[0], '\n');
    EXPECT_EQ(errorOf("format long wide"), "Unknown format 'wide'.");
    EXPECT_EQ(GetPrtfmt(), PrtfmtShort) << "a refused format changes nothing";
}

TEST_F(Statements, ClearRemovesVariables) {
    run("a = 1; b = 2; c = 3; clear a b");
    EXPECT_EQ(session.names(), (std::vector<std::string>{"c"}));
    run("clear");
    EXPECT_TRUE(session.names().empty());
}

TEST(ErrorReport, AFailureIsOneLineOnTheErrorStream) {
    qzlang::Session session;
    Capture capture;
    EXPECT_FALSE(qzlang::executeAndReport(session, "x = [1 2; 3]"));
    EXPECT_TRUE(qzlang::executeAndReport(session, "y = 1;"));
    services::io::CXStream::CXErr.flush();
    EXPECT_EQ(capture.err->getString(),
              "Error: The sizes 1x2 and 1x1 do not agree for concatenation along dimension 1.\n");
}

TEST_F(Statements, APendingInterruptStopsALongStatementBeforeItAssigns) {
    char const* const longOnes[] = {"x = 1:200000;", "x = ones(1, 200000);", "x = rand(500);",
                                    "x = zeros(1, 200000) + 1;", "x = int8(zeros(1, 200000));",
                                    "x = (1:200000)';"};
    for (char const* text : longOnes) {
        uvSetInterruptPending(1);
        Capture capture;
        EXPECT_THROW(session.execute(text), Orrery::System::InterruptException) << text;
        EXPECT_EQ(uvIsInterruptPending(), 0) << "the interrupt is taken: " << text;
        EXPECT_EQ(session.find("x"), nullptr) << text;
    }
    uvSetInterruptPending(0);
    // Short work never looks, so a pending interrupt is left for the display.
    uvSetInterruptPending(1);
    {
        Capture capture;
        EXPECT_NO_THROW(session.execute("y = 1:10;"));
    }
    uvSetInterruptPending(0);
    EXPECT_NE(session.find("y"), nullptr);
}
