use strict;
use warnings;
use Encode;
use Mojo::UserAgent;
use Mojolicious;

my ($url, $description, $name) = map { decode("UTF-8", $_) } @ARGV;

# The names of a form are sorted.
Mojo::UserAgent->new->post($url, form => {a => $description, b => {file => $name}})->result;
print "$Mojolicious::VERSION\n";
