#!/usr/bin/perl
# Prints what Net::LDAP::LDIF reads from a file, an entry a line, as JSON: its DN, its change type
# and its attributes with all their values. DN and values are in Base64.
#
#   dump_ldif.pl FILE
use strict;
use warnings;

use JSON::PP;
use MIME::Base64 qw(encode_base64);
use Net::LDAP::LDIF;

@ARGV == 1 or die "usage: dump_ldif.pl FILE\n";
my $ldif = Net::LDAP::LDIF->new($ARGV[0], 'r', onerror => 'die');
while (my $entry = $ldif->read_entry()) {
    my %attributes;
    for my $name ($entry->attributes()) {
        $attributes{$name} = [map { encode_base64($_, '') } $entry->get_value($name)];
    }
    print encode_json([encode_base64($entry->dn(), ''), $entry->changetype(), \%attributes]), "\n";
}
