/// @file
/// The line of a test that calls a helper, so that the helper can report a failure there and not in its own file.
#ifndef TEST_LINE_HPP
#define TEST_LINE_HPP

/// As the last parameter of a helper: `TestLine line = TestLine::here()`. It is the caller's line. (The standard's own
/// type for this is not there with every compiler that builds the tests.)
struct TestLine {
    const char *file;
    int number;

    static constexpr TestLine here(const char *file = __builtin_FILE(), int number = __builtin_LINE())
    {
        return {file, number};
    }
};

#endif
