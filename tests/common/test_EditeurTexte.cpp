#include "common/EditeurTexte.h"

#include <gtest/gtest.h>

using namespace pv;

TEST(EditeurTexte, ExecValueBecomesProgramAndArguments)
{
    // Exec value, the command for /t/a b.txt ("|" between arguments, "": refused).
    const std::pair<const char*, const char*> cas[] = {
        {"gedit", "gedit|/t/a b.txt"},
        {"gedit %U", "gedit|file:///t/a%20b.txt"},
        {"kate -b %f --name=%c %i %%x", "kate|-b|/t/a b.txt|--name=Kate|%x"},
        {"\"/opt/my editor/ed\" --title \"a \\\\\"q\\\\\" \\\\$x\" %F",
         "/opt/my editor/ed|--title|a \"q\" $x|/t/a b.txt"},
        {"ed\\sit  %k", "ed|it|/t/a b.txt"},
        {"\"ed %f", ""},
        {"%i", ""},
    };
    for (const auto& [exec, commande] : cas) {
        EXPECT_EQ(gCommandeExec(exec, "/t/a b.txt", "Kate").join('|'), QString(commande)) << exec;
    }
}
