use strict;
use warnings;
use HTTP::Request::Common;
use LWP::UserAgent;

my ($url, $description, $name) = @ARGV;
my $request = POST($url, Content_Type => 'form-data',
    Content => [metadata => $description, file => [$name]]);
LWP::UserAgent->new->request($request)->is_success or die;
print "$LWP::UserAgent::VERSION\n";
