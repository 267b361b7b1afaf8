"""What the Python tests share. A folder of tests imports its own modules, these, and the model.

    testcase     the program that a test script is given, a fresh folder for each test
    programs     running ldif-migrate, ldif-migrate-check and make_export
    ldif         reading LDIF files as records
    base         a small export in which nothing is wrong, and what a migration makes of it
    generators   random exports by their seeds, and exports that are costly to compare
    campaign     the command line and the loop of scripts that try any number of random cases
    smallest     making a case that shows a fault as small as possible
    texts        showing bytes and how two files differ

A script puts the folder of the tests behind its own, from which Python imports first:

    sys.path.insert(1, sys.path[0] + "/..")
"""
