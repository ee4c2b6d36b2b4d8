use strict;
use warnings;
use HTTP::Tiny;
use HTTP::Tiny::Multipart;

my ($url, $description, $name) = @ARGV;
open my $file, '<:raw', $name or die;
my $content = do { local $/; <$file> };
HTTP::Tiny->new->post_multipart($url,
    [metadata => $description, file => {filename => 'file', content => $content}])->{success} or die;
print "$HTTP::Tiny::Multipart::VERSION\n";
