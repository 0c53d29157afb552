/// @file
/// The demonstration: sensor data from another process goes through an asynchronous wait set that is being
/// reconfigured meanwhile.
#include "Console.hpp"
#include "DemoOptions.hpp"
#include "Publisher.hpp"
#include "Subscriber.hpp"

int main(int argumentCount, char **arguments)
{
    if (!demo::holdStandardStreams()) return 1;
    demo::Options options;
    switch (demo::parseOptions(argumentCount, arguments, options)) {
        case demo::ParseResult::help:
            return demo::flushOutput() ? 0 : 1;
        case demo::ParseResult::bad:
            return 2;
        case demo::ParseResult::run:
            break;
    }
    return options.publishTo.empty() ? demo::runSubscriber(options) : demo::runPublisher(options);
}
