"""A model of the migration in plain Python: all that tests know of its rules.

It is written from the rules alone, by somebody who has not seen the program's code for them.

    entry      entries of a file, their class and values
    staging    the export's entries go to the output or to the work file
    cache      entries are gathered by their owners
    records    new names, merged entries, dropped lines
    migration  whole runs, and all that they leave
    expected   the records that the output of an export must hold
"""
