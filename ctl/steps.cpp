// SPDX-License-Identifier: GPL-2.0-or-later
#include "commands.h"
#include "output.h"
#include "picture.h"
#include "step_table.h"
#include "steps_text.h"

exit_status show_steps(const arguments &given) {
    const auto rows = read_steps(given.database, {.last = given.last, .since = given.since});
    const std::vector<step> steps(rows.begin(), rows.end());
    const std::optional<drift> fitted = fit_drift(steps);
    if (!given.picture.empty())
        write_file(given.picture, steps_as_svg(steps, fitted));
    print(given.json  ? steps_as_json(steps, fitted)
          : given.csv ? steps_as_csv(steps)
                      : steps_as_table(steps, fitted));
    return all_well;
}
