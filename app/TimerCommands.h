#pragma once
// The timer list without windows, for a recording box with no display:
//
//   tavro --list-timers
//   tavro --add-timer START-STOP FILE [--date YYYY-MM-DD] [--repeat once|daily|weekly|monthly]
//                     [--channel N] [--format NAME]
//   tavro --remove-timer INDEX
//   tavro --run-timers
//
// The list is the settings file's, the same the timer pane shows. START and STOP are local
// "H:MM" or "H:MM:SS"; a STOP before START ends on the next day; without --date the timer is
// for today, or tomorrow when START has passed. --run-timers runs the stored timers through
// the scheduler and the engine until SIGINT or SIGTERM, printing a line per start and stop,
// and closes a running recording before it exits 0. Bad values exit 2.

struct CommandLine;

int listTimers(const CommandLine& line);
int addTimer(const CommandLine& line);
int removeTimer(const CommandLine& line);
int runTimers(const CommandLine& line);
